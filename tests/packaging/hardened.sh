#!/usr/bin/env bash
# Usage: hardened.sh READELF TYPES FILE...
# What is installed is hardened. TYPES is DYN, or DYN|EXEC where programs may lie at a fixed address to be small.
set -euo pipefail
readelf=$1 types=$2
failed=0

# wants FILE WHAT OPTION PATTERN: readelf shows a line with the pattern.
wants() {
  "$readelf" -W "$3" "$1" | grep -E "$4" >/dev/null || { echo "$1: $2"; failed=1; }
}
for file in "${@:3}"; do
  wants "$file" "the stack is executable" -l 'GNU_STACK .* RW +0x'
  wants "$file" "no segment is read-only after relocation" -l GNU_RELRO
  wants "$file" "calls are bound lazily" -d 'FLAGS.*(BIND_NOW|NOW)'
  wants "$file" "it is loaded at a fixed address" -h "Type: +($types)"
done
exit $failed
