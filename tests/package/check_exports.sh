#!/usr/bin/env bash
# Compares the symbols that the library shows with the promised list: a forgotten instantiation and a
# leaked internal both come out as a difference.
# Usage: check_exports.sh LIBRARY LIST [--update|--weak-extras]
#
# The list is what g++ makes. Which copies of inline functions a compiler keeps is its own affair: with
# --weak-extras, for other compilers, weak symbols that are not in the list are passed over.
set -euo pipefail
library=$1
list=$2
# "address type name": the type tells only how the compiler merges copies, so it is left out.
# Copies of templates for a function object have no name that a host could call, and which of them are
# kept changes with every inlining.
symbols=$(nm -DC --defined-only "$library" | cut -d' ' -f3- | grep -vE '\{lambda|^_Z.*Ul[A-Za-z0-9_]*E_' | LC_ALL=C sort -u)
if [ "${3:-}" = --update ]; then
  printf '%s\n' "$symbols" >"$list"
  exit 0
fi
if [ "${3:-}" = --weak-extras ]; then
  strong=$(nm -DC --defined-only "$library" | awk '$2 !~ /^[VWu]$/' | cut -d' ' -f3- |
    grep -vE '\{lambda|^_Z.*Ul[A-Za-z0-9_]*E_' | LC_ALL=C sort -u)
  # Everything promised, and of the rest what is strong.
  symbols=$({ LC_ALL=C comm -12 <(LC_ALL=C sort -u "$list") <(printf '%s\n' "$symbols")
    printf '%s\n' "$strong"; } | LC_ALL=C sort -u)
fi
if ! diff <(LC_ALL=C sort -u "$list") <(printf '%s\n' "$symbols"); then
  echo
  echo "'<' is promised and not there, '>' is there and not promised."
  echo "When the change is meant: tests/package/check_exports.sh LIBRARY tests/exports.txt --update"
  exit 1
fi
echo "$(printf '%s\n' "$symbols" | wc -l) exported symbols, as listed"
