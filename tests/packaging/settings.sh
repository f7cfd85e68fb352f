#!/usr/bin/env bash
# Usage: settings.sh FOLDER READELF CMAKE_FOLDER COMPILER [CMAKE_OPTION...]
# What the settings for integrators make of a library, and where they put it.
set -euo pipefail
folder=$1 readelf=$2 cmake_folder=$3 compiler=$4
sources=$(cd "$(dirname "$0")" && pwd)/settings
failed=0
rm -rf "$folder"
mkdir -p "$folder"

# installed PREFIX CMAKE_OPTION...: built, and installed into FOLDER/root.
installed() {
  { cmake -G Ninja -S "$sources" -B "$folder/build" -DCMAKE_INSTALL_PREFIX="$1" "${@:2}" &&
    cmake --build "$folder/build" && DESTDIR=$folder/root cmake --install "$folder/build"; } >"$folder/log" 2>&1 ||
    { cat "$folder/log"; exit 1; }
}

# says TAG FILE: what the loader reads there.
says() { "$readelf" -dW "$folder/root$2" | sed -n "s/.*$1.*\[\(.*\)\]/\1/p"; }

installed /usr -DZEL_CMAKE="$cmake_folder" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_INSTALL_LIBDIR=lib/here \
  -DCMAKE_BUILD_TYPE=MinSizeRel -DZEL_NEEDED_LIBRARY=libqoutil.so.1 -DZEL_STATIC_RUNTIME=ON -DZEL_PAGE_SIZE=16384 "${@:5}"
needed=$(says NEEDED /usr/lib/here/libours.so)
loaded=$("$readelf" -lW "$folder/root/usr/lib/here/libours.so" | grep LOAD)
grep -qx 'libqoutil\.so\.1' <<<"$needed" || { echo "ZEL_NEEDED_LIBRARY: not needed, but: $needed"; failed=1; }
! grep -E 'stdc|gcc_s' <<<"$needed" || { echo "ZEL_STATIC_RUNTIME: the runtime is needed all the same"; failed=1; }
! grep -v '0x4000$' <<<"$loaded" || { echo "ZEL_PAGE_SIZE: not the alignment of the segments above"; failed=1; }

for file in /usr/lib/here/libours.so /usr/bin/main; do
  [ -z "$(says 'R.*PATH' $file)" ] || { echo "$file: a run path in a system folder: $(says 'R.*PATH' $file)"; failed=1; }
done
for file in pkgconfig/libzel.pc cmake/zel/zelConfig.cmake; do
  [ -f "$folder/root/usr/lib/here/$file" ] || { echo "CMAKE_INSTALL_LIBDIR: no $file there"; failed=1; }
done
! grep -rF "$folder" "$folder/root" || { echo "DESTDIR is part of the files above"; failed=1; }
grep -qx 'libdir=${prefix}/lib/here' "$folder/root/usr/lib/here/pkgconfig/libzel.pc" || { echo "libzel.pc: another libdir"; failed=1; }

installed /opt/ours
[ "$(says 'R.*PATH' /opt/ours/bin/main)" = '$ORIGIN:$ORIGIN/../lib/here' ] ||
  { echo "main of /opt/ours finds no library: $(says 'R.*PATH' /opt/ours/bin/main)"; failed=1; }
exit $failed
