# Usage: exports.sh NM READELF LIBRARY EXPORT_LIST HEADER_FOLDER
# Compares the library's dynamic names with the list, and the list with what the headers declare.
set -euo pipefail
nm=$1 readelf=$2 library=$3 list=$4 headers=$5
export LC_ALL=C

wanted=$(grep -v '^#' "$list")
# A class member is listed without its arguments, so that the list is the same for every machine.
built=$("$nm" -D -C --defined-only "$library" | sed -E 's/^[0-9a-f]* . //; s/\(.*//' | sort -u)
# A declaration is ZEL_API up to its semicolon; its name stands before the first "(" or "[", or ends it. Macros
# are none, and in a class the name gets that of the class in front.
in_classes='/^#/ { next }
  /^class [A-Za-z]+ \{/ { class = $2 "::" }
  /^\};/ { class = "" }
  class != "" && /ZEL_API/ { match($0, /~?[A-Za-z_]+\(/); $0 = substr($0, 1, RSTART - 1) class substr($0, RSTART) }
  { print }'
declared=$(awk "$in_classes" "$headers"/*.h | tr '\n' ' ' | sed 's|/\*[^*]*\*\+\([^/*][^*]*\*\+\)*/||g' |
  grep -oE 'ZEL_API [^;{]*;' | sed -E 's/^ZEL_API //; s/[[(;].*//; s/.*[ *]//' | grep -v '^$' | sort -u)

failed=0
compare() {
  diff <(printf '%s\n' "$2") <(printf '%s\n' "$wanted") >/dev/null && return
  echo "$1 differ from $list (< is theirs, > the list's); change both in one commit:"
  diff <(printf '%s\n' "$2") <(printf '%s\n' "$wanted") || true
  failed=1
}
[ "$wanted" = "$(sort -u <<<"$wanted")" ] || { echo "$list is not sorted or holds a name twice"; failed=1; }
compare "the library's exports" "$built"
compare "the headers' declarations" "$declared"
soname=$("$readelf" -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\].*/\1/p')
[ "$soname" = libzel.so.0 ] || { echo "the library's name is '$soname', not libzel.so.0"; failed=1; }
exit $failed
