#!/usr/bin/env bash
# Usage: pair_of_2014.sh HEADERS FOLDER SOURCE COMPILER
# Cuts the headers of hostbus, in FOLDER, to what they were at the end of 2014, and compiles with them what includes
# them in the library, the box, zelctl and the tests. Nothing is linked.
set -euo pipefail
folder=$2 source=$3 compiler=$4
rm -rf "$folder"
mkdir -p "$folder"
cp -r "$1" "$folder/include"
cd "$folder/include"

# cut FILE EXPRESSION...: each must change the file.
cut() {
  local file=$1 expression
  shift
  for expression; do
    cp "$file" ../before
    sed -E -i "$expression" "$file"
    ! cmp -s "$file" ../before || { echo "$file: nothing to do for $expression"; exit 1; }
  done
}

for header in libubox/*.h libubus.h ubusmsg.h; do cut "$header" '/^#ifdef __cplusplus/,/^#endif/d'; done
cut ubus_common.h '$i #define __init __attribute__((constructor))'
cut libubox/blob.h 's/size_t (blob_(len|raw_len|pad_len)\()/unsigned int \1/' '/blob_parse_untrusted/,/;/d'
cut libubox/blobmsg.h 's/size_t (blobmsg_data_len\()/int \1/' '/BLOBMSG_(CAST|TYPE_DOUBLE)/d' '/^bool blobmsg_check_attr_len/d'
cut ubusmsg.h '/UBUS_STATUS_(NO_MEMORY|PARSE_ERROR|SYSTEM_ERROR)/d' '/UBUS_ATTR_(USER|GROUP)/d' '/UBUS_MSG_MONITOR/d' \
  '/^enum ubus_monitor_attr/,/^}/d' '/UBUS_(SYSTEM_OBJECT_(ACL|MONITOR)|CLIENT_ID_CHANNEL)/d'
cut libubus.h '/unsigned long tags;/d' 's/\.tags = 0, //' 's/\.name = type_name, \.id = 0/.id = 0, .name = type_name/' \
  '/^struct ubus_acl_key \{/,/^}/d' '/struct ubus_acl_key acl;/d' '/int req_fd;/d' '/bool cancel_poll;/d' '/monitor_cb/d' \
  '/^\/\* --- watching/,/^#endif/{/^#endif/!d}'
cd "$source"

flags=(-std=gnu++20 -D_GNU_SOURCE -Wall -Wextra -Werror -I"$folder/include" -Iinclude -Isrc -Itests
  -DTEST_EMULATOR='""' -DTEST_BIN='""')

# They have no extern "C": one file gives it to them for all others.
in_c() { ! "$compiler" "${flags[@]}" -S -o - src/bus/connect.cpp | grep -E '_Z[0-9]+(ubus|blob|uloop)'; }
in_c || { echo "src/bus/connect.cpp calls C functions as C++ ones"; exit 1; }
! grep -rE '#include <(libubus|ubusmsg|libubox/)' --include='*.cpp' --include='*.h' src routerbox tools tests |
  grep -vE '^(src/bus/libubus\.h|tests/hostbus/)' || { echo "include bus/libubus.h instead"; exit 1; }

"$compiler" "${flags[@]}" -fsyntax-only -include bus/libubus.h -x c++ - <<<'#include <numeric>'

sources() { grep -lE '#include "(bus|cloud|event)(/|\.h")' "$@"; }
mapfile -t sources < <(sources src/{bus,cloud,event,service}/*.cpp routerbox/bus/*.cpp tools/zelctl/*.cpp \
  tests/{bus,cloud,event,service}/*.cpp)
echo "${#sources[@]} files with the headers of 2014"
printf '%s\0' "${sources[@]}" | xargs -0 -P 2 -n 1 "$compiler" "${flags[@]}" -fsyntax-only
