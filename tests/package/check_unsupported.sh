#!/usr/bin/env bash
# A call with a type that the library is not compiled for is an error at the line of the call, and one that
# names the function: every line of SOURCE marked "// refused: NAME" gets one, and no other line does.
# Usage: check_unsupported.sh COMPILER INTERFACES_FOLDER SOURCE
set -uo pipefail
compiler=$1
interfaces=$2
source=$3
errors=$("$compiler" -std=c++20 -fsyntax-only -fmax-errors=0 -fno-diagnostics-show-caret -I "$interfaces" "$source" 2>&1) ||
  true
if grep -q "unrecognized\|unknown argument" <<<"$errors"; then # the words of another compiler
  errors=$("$compiler" -std=c++20 -fsyntax-only -ferror-limit=0 -fno-caret-diagnostics -I "$interfaces" "$source" 2>&1)
fi
faults=0
lines=0
while IFS=: read -r number text; do
  name=${text##*refused: }
  lines=$((lines + 1))
  if ! grep -E "^[^ ]*$(basename "$source"):$number:.*error:.*deleted function" <<<"$errors" | grep "$name" >/dev/null; then
    echo "line $number: no error that names $name"
    faults=1
  fi
done < <(grep -n '// refused: ' "$source")
while IFS= read -r number; do
  if ! sed -n "${number}p" "$source" | grep '// refused: ' >/dev/null; then
    echo "line $number is refused, too"
    faults=1
  fi
done < <(grep -oE "$(basename "$source"):[0-9]+:[0-9]+: (fatal )?error" <<<"$errors" | cut -d: -f2)
if [ "$lines" -eq 0 ] || [ "$faults" -ne 0 ]; then
  printf '%s\n' "$errors" | head -40
  exit 1
fi
echo "$lines calls refused by name"
