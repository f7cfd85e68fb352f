#!/usr/bin/env bash
# Usage: refusals.sh CMAKE_FOLDER
# What the configure step says where something is missing or unsuitable.
set -euo pipefail
folder=$1
failed=0

# refused FILE TEXT VARIABLE=VALUE...: the file, run alone with these variables, stops and says TEXT.
refused() {
  local file=$1 text=$2 said
  shift 2
  said=$(cmake "${@/#/-D}" -P "$folder/$file.cmake" 2>&1) && said="nothing, and went on"
  # Lines are broken where CMake likes.
  grep -qF "$text" <<<"$(tr -s ' \n' ' ' <<<"$said")" && return
  printf '%s with %s should say "%s", but said:\n%s\n' "$file" "$*" "$text" "$said"
  failed=1
}

export PKG_CONFIG_LIBDIR=/nowhere
linux="CMAKE_SYSTEM_NAME=Linux"
empty="CMAKE_FIND_ROOT_PATH=/nowhere CMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY CMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY"
refused ZelPlatform "runs Linux; Darwin has none" CMAKE_SYSTEM_NAME=Darwin
refused ZelPlatform "is GNU 10.2.1; it has to be GCC 11" $linux CMAKE_CXX_COMPILER_ID=GNU CMAKE_CXX_COMPILER_VERSION=10.2.1
refused ZelPlatform "is Clang 13.0.1; it has to be" $linux CMAKE_CXX_COMPILER_ID=Clang CMAKE_CXX_COMPILER_VERSION=13.0.1
refused ZelPlatform "is Intel 2021; it has to be" $linux CMAKE_CXX_COMPILER_ID=Intel CMAKE_CXX_COMPILER_VERSION=2021
refused ZelDependencies "apt-get install libcjson-dev libssl-dev libcurl4-openssl-dev)" $empty
refused ZelDependencies "<gtest/gtest.h>: Debian package libgtest-dev" $empty ZEL_TOOLS=ON ZEL_TESTS=ON
refused ZelDependencies "libarchive-dev libcli11-dev libcpp-httplib-dev nlohmann-json3-dev libtomlplusplus-dev)" $empty ZEL_BOX=ON
refused ZelBus "A router has them: set CMAKE_FIND_ROOT_PATH" $empty ZEL_BUS=auto CMAKE_CROSSCOMPILING=ON
refused ZelBus "ZEL_BUS=system, but" $empty ZEL_BUS=system
refused ZelBus "(message): Bus libraries for mipsel: libubus and libubox of this tree" ZEL_BUS=hostbus CMAKE_CROSSCOMPILING=ON \
  CMAKE_SYSTEM_PROCESSOR=mipsel
refused ZelBus "ZEL_BUS is 'genuine'; it can be auto, system or hostbus" ZEL_BUS=genuine
exit $failed
