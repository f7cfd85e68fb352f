# Shared by the scripts here; sourced, not run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

step() { printf '==> %s\n' "$*"; }
die() { printf 'error: %s\n' "$*" >&2; exit 1; }

# listed FILE...: the names in package lists, without comments.
listed() { grep -hv '^#' "$@" | tr '\n' ' '; }

# build PRESET [TARGET...]: configures when needed, then builds.
build() {
  local preset=$1
  shift
  step "building $preset"
  [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset" >"build/$preset.configure.log" 2>&1 ||
    { cat "build/$preset.configure.log" >&2; die "configuring $preset failed; the log is above"; }
  [ "$preset" != system ] || sed -n 's/^-- \(Bus libraries\)/    \1/p' "build/$preset.configure.log" 2>/dev/null || true
  cmake --build --preset "$preset" ${1:+--target "$@"}
}
