#!/usr/bin/env bash
# A host that compiles our headers as its own, with every warning asked for and each of them an error, gets
# none: SOURCE compiles so, and a copy of it with a planted fault does not.
# Usage: check_host_warnings.sh COMPILER INTERFACES_FOLDER SOURCE
set -uo pipefail
compiler=$1
interfaces=$2
source=$3
flags=(-std=c++20 -fsyntax-only -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Werror)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
faults=0

# What the host's own code would be told is told of a header's code, too: the flags do bite.
mkdir "$scratch/planted"
echo '#pragma once
struct Planted { virtual void Run() {} };
inline int Narrowed(double x) { return x; }' >"$scratch/planted/Planted_E.h"
echo '#include <Planted_E.h>' >"$scratch/planted.cpp"
found=$("$compiler" "${flags[@]}" -I "$scratch/planted" "$scratch/planted.cpp" 2>&1)
for warning in non-virtual-dtor conversion; do
  if ! grep -q "\[-W.*$warning\]" <<<"$found"; then
    printf '%s: a planted %s is not found\n%s\n' "$compiler" "$warning" "$found"
    faults=1
  fi
done

if ! "$compiler" "${flags[@]}" -I "$interfaces" "$source"; then
  echo "$compiler warns a host about the public headers"
  faults=1
fi
[ "$faults" -eq 0 ] && echo "$compiler: no warning"
exit "$faults"
