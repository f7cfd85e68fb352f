#!/usr/bin/env bash
# Usage: version.sh SOURCE_FOLDER FOLDER
# What version packages get, and what is said of it, in trees of several states.
set -euo pipefail
source=$1 folder=$2
rm -rf "$folder"
mkdir -p "$folder/whole/scripts" "$folder/whole/include/zel"
cd "$folder/whole"
cp "$source/scripts/package" "$source/scripts/lib.sh" scripts/
cp "$source/include/zel/version.h" include/zel/
export GIT_CEILING_DIRECTORIES=$folder GIT_CONFIG_GLOBAL=/dev/null
export GIT_AUTHOR_NAME=a GIT_AUTHOR_EMAIL=a@b GIT_COMMITTER_NAME=a GIT_COMMITTER_EMAIL=a@b
export GIT_COMMITTER_DATE="2026-01-02T03:04:05+00:00"
git init -q
git add .
for message in first second; do git commit -q --allow-empty -m $message; done
git clone -q --depth 1 "file://$PWD" ../shallow
number=$(awk '/define ZEL_VERSION_M[AI][JN]OR |define ZEL_VERSION_PATCH / { printf "%s%s", dot, $3; dot = "." }' \
  include/zel/version.h)
commit=$(git log -1 --format=%h)
failed=0

# gets TREE VERSION WORDS: its version, and what is said besides.
gets() {
  local said
  said=$(cd "../$1" && scripts/package version 2>&1)
  [ "$(head -n 1 <<<"$said")" = "$2" ] && [[ "$(tail -n +2 <<<"$said")" = *"$3"* ]] && return
  printf '%s should get %s and "%s", but got:\n%s\n' "$1" "$2" "$3" "$said"
  failed=1
}
gets whole "$number~git202601020304.$commit" ""
gets shallow "$number~git202601020304.$commit" "a shallow clone"
git tag "v$number"
gets whole "$number" ""
touch new
gets whole "$number+changed" "not committed"
rm -rf .git
gets whole "$number~sources" "without their history"
exit $failed
