#!/usr/bin/env bash
# Usage: installed_pair.sh BUILD FOLDER SOURCE CMAKE_ARGUMENT...
# Configures with an installed copy of hostbus, in FOLDER, as on a machine that has libubus, and builds what meets the
# bus: the library with zelctl, and another program that links the pair. Then looks at what an installation would put
# beside it.
set -euo pipefail
build=$1 folder=$2 source=$3
shift 3
mkdir -p "$folder"
quietly() { "$@" >"$folder/log" 2>&1 || { cat "$folder/log"; exit 1; }; }

quietly cmake --install "$build" --component hostbus --prefix "$folder/installed"
quietly cmake -G Ninja -S "$source" -B "$folder/build" -DZEL_BUS=system -DCMAKE_PREFIX_PATH="$folder/installed" "$@"
grep -F "installed ones: $folder/installed/" "$folder/log" || { echo "another pair was found"; exit 1; }
cd "$folder/build"
quietly ninja bin/boxbus bin/zelctl

! grep -rE 'file\(INSTALL.*(libub(us|ox)\.|hostbus/include/")' --include=cmake_install.cmake .
