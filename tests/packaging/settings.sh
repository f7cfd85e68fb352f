#!/usr/bin/env bash
# Usage: settings.sh FOLDER READELF CMAKE_FOLDER COMPILER [CMAKE_OPTION...]
# What the settings for integrators make of a library.
set -euo pipefail
folder=$1 readelf=$2 cmake_folder=$3 compiler=$4
sources=$(cd "$(dirname "$0")" && pwd)/settings
rm -rf "$folder"
{ cmake -G Ninja -S "$sources" -B "$folder" -DZEL_CMAKE="$cmake_folder" -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_BUILD_TYPE=MinSizeRel -DZEL_NEEDED_LIBRARY=libqoutil.so.1 -DZEL_STATIC_RUNTIME=ON -DZEL_PAGE_SIZE=16384 \
  "${@:5}" && cmake --build "$folder"; } >"$folder.log" 2>&1 || { cat "$folder.log"; exit 1; }
needed=$("$readelf" -dW "$folder/libours.so" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p')
loaded=$("$readelf" -lW "$folder/libours.so" | grep LOAD)
failed=0
grep -qx 'libqoutil\.so\.1' <<<"$needed" || { echo "ZEL_NEEDED_LIBRARY: not needed, but: $needed"; failed=1; }
! grep -E 'stdc|gcc_s' <<<"$needed" || { echo "ZEL_STATIC_RUNTIME: the runtime is needed all the same"; failed=1; }
! grep -v '0x4000$' <<<"$loaded" || { echo "ZEL_PAGE_SIZE: not the alignment of the segments above"; failed=1; }
exit $failed
