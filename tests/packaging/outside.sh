#!/usr/bin/env bash
# Usage: outside.sh PREFIX FOLDER
# Builds a project that has nothing but what is installed in PREFIX, by pkg-config and by CMake, in FOLDER, and runs
# what came out.
set -euo pipefail
prefix=$1 folder=$2
sources=$(cd "$(dirname "$0")" && pwd)/outside
rm -rf "$folder"
mkdir -p "$folder"
cd "$folder"
pc=$(find "$prefix" -name libzel.pc)
export PKG_CONFIG_PATH=${pc%/*} LD_LIBRARY_PATH=${pc%/pkgconfig/*}:${LD_LIBRARY_PATH:-}

for language in "c99 gcc" "c++17 g++" "c++20 g++"; do
  read -r standard compiler <<<"$language"
  "$compiler" -x "${standard%%[0-9]*}" -std="$standard" -pedantic -Wall -Wextra -Werror "$sources/plugin.c" -x none \
    -o "pkg-config-$standard" $(pkg-config --cflags --libs libzel)
done
cmake -G Ninja -S "$sources" -B cmake -DCMAKE_PREFIX_PATH="$prefix" >cmake.log 2>&1 || { cat cmake.log; exit 1; }
cmake --build cmake >build.log || { cat build.log; exit 1; }

wanted="libzel $(pkg-config --modversion libzel): f3395cd54cf857ddf8f2056768ff49ae"
failed=0
for program in pkg-config-c99 pkg-config-c++17 pkg-config-c++20 cmake/cmake-c99 cmake/cmake-c++17 cmake/cmake-c++20; do
  said=$("./$program" 2>&1) || true
  printf '%-18s %s\n' "${program##*/}" "$said"
  [ "$said" = "$wanted" ] || failed=1
done
[ $failed = 0 ] || echo "error: each should have said: $wanted"
exit $failed
