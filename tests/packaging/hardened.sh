#!/usr/bin/env bash
# Usage: hardened.sh READELF FILE...
# Every program and library that is installed is hardened.
set -euo pipefail
readelf=$1
failed=0

# wants FILE WHAT OPTION PATTERN: readelf shows a line with the pattern.
wants() {
  "$readelf" -W "$3" "$1" | grep -E "$4" >/dev/null || { echo "$1: $2"; failed=1; }
}
for file in "${@:2}"; do
  wants "$file" "the stack is executable" -l 'GNU_STACK .* RW +0x'
  wants "$file" "no segment is read-only after relocation" -l GNU_RELRO
  wants "$file" "calls are bound lazily" -d 'FLAGS.*(BIND_NOW|NOW)'
  wants "$file" "it is loaded at a fixed address" -h 'Type: +DYN'
done
exit $failed
