#!/usr/bin/env bash
# docs/architecture.md against the tree: its paths exist, every folder of the library is in its table and its
# drawing, and files include one another without a cycle, as it says.
# Usage: check_architecture.sh SOURCE_FOLDER
set -euo pipefail
export LC_ALL=C
cd "$1"
failures=0
fail() {
  echo "$*"
  failures=$((failures + 1))
}

page=docs/architecture.md
paths=$(grep -oE '`[A-Za-z]+(/[A-Za-z0-9_.]+)+`' "$page" | tr -d '`' | sort -u)
[ "$(wc -l <<<"$paths")" -gt 20 ] || fail "$page names hardly any path"
for path in $paths; do
  [ -e "$path" ] || fail "$page names $path, which is not there"
done

folders=$(sed -n '/^set(SORVANE_FOLDERS/,/)/p' CMakeLists.txt | tr -d '()' | sed 's/set *SORVANE_FOLDERS//;s/setSORVANE_FOLDERS//')
[ -n "$folders" ] || fail "no list of folders in CMakeLists.txt"
for folder in $folders; do
  grep -q "^| \`$folder\` |" "$page" || fail "$page has no row for the folder $folder"
  grep -q ">$folder<" docs/pictures/architecture.svg || fail "the drawing has no box for the folder $folder"
done

# "file included-file", both as they are named in an include.
includes=$(mktemp)
trap 'rm -f "$includes"' EXIT
# shellcheck disable=SC2086
find Interfaces $folders -name '*.h' -o -name '*.cpp' | sort | while read -r file; do
  sed -n 's/^#include [<"]\([A-Za-z]*\/[A-Za-z0-9_/]*\.h\)[>"].*/\1/p' "$file" |
    sed "s|^|${file#Interfaces/} |"
done >"$includes"
[ "$(wc -l <"$includes")" -gt 100 ] || fail "the includes were not understood"
tsort "$includes" >/dev/null || fail "files include one another in a cycle"
# The math base knows nothing above it, neither its headers nor its sources.
above=" Sorvane $(tr '\n' ' ' <<<"$folders") "
while read -r file included; do
  case ${above/ mathbase / } in
    *" ${included%%/*} "*) fail "$file includes $included" ;;
  esac
done < <(grep -E '^(Velk|mathbase)/' "$includes")

[ $failures = 0 ] || { echo "$failures faults"; exit 1; }
