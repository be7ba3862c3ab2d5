#!/usr/bin/env bash
# All private headers of the library compile in one file: no two of them declare one name twice. Headers of
# that kind can't be included together, and a function with two bodies under one name is a program without
# meaning even where they never are.
# Usage: check_private_headers.sh COMPILER INTERFACES_FOLDER ROOT FOLDER...
#
# A header that can't be included beside the others is named here, with the reason in a comment:
exceptions=()

set -euo pipefail
compiler=$1
interfaces=$2
root=$3
shift 3
cd "$root"
headers=()
while IFS= read -r header; do
  headers+=("$header")
done < <(find "$@" -name '*_Impl.h' | sort)
for exception in ${exceptions[@]+"${exceptions[@]}"}; do
  for i in "${!headers[@]}"; do
    if [ "${headers[$i]}" = "$exception" ]; then
      unset "headers[$i]"
      continue 2
    fi
  done
  echo "no header $exception"
  exit 1
done
if [ "${#headers[@]}" -lt 2 ]; then
  echo "no private headers in: $*"
  exit 1
fi
# Both ways round, which also shows a header that leans on what an earlier one has included.
for order in "" -r; do
  printf '%s\n' "${headers[@]}" | sort $order | sed 's/.*/#include <&>/' |
    "$compiler" -std=c++20 -fsyntax-only -I "$root" -I "$interfaces" -x c++ -
done
echo "${#headers[@]} private headers in one file"
