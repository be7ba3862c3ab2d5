#!/usr/bin/env bash
# What the library is not compiled for is an error of the compiler that names the line of the host: every line
# of SOURCE marked "// refused: NAME" has one that names the deleted function, every line marked
# "// refused type: WORDS" leads to one in which a class says so in these words, and no other line has any. And
# no header forgets it: each function template of which the library compiles some forms has deleted ones.
# Usage: check_unsupported.sh COMPILER INTERFACES_FOLDER SOURCE
set -uo pipefail
compiler=$1
interfaces=$2
source=$3
file=$(basename "$source")
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
  if ! grep -E "^[^ ]*$file:$number:.*error:.*deleted (function|operator)" <<<"$errors" | grep -F -- "$name" >/dev/null; then
    echo "line $number: no error that names $name"
    faults=1
  fi
done < <(grep -n '// refused: ' "$source")
while IFS=: read -r number text; do
  words=${text##*refused type: }
  lines=$((lines + 1))
  # One compiler tells the line before the error, another one after it.
  if ! grep -E -A2 -B2 "$file:$number:.*(required from here|requested here)" <<<"$errors" |
    grep -E 'error: static.assert' | grep -F -- "$words" >/dev/null; then
    echo "line $number: no class says that $words"
    faults=1
  fi
done < <(grep -n '// refused type: ' "$source")
while IFS= read -r number; do
  if ! sed -n "${number}p" "$source" | grep '// refused' >/dev/null; then
    echo "line $number is refused, too"
    faults=1
  fi
done < <(grep -oE "$file:[0-9]+:[0-9]+: ((fatal )?error|.*required from here)|$file:[0-9]+:[0-9]+: .*requested here" <<<"$errors" |
  cut -d: -f2 | sort -un)

# Names in `extern template` lines that are neither classes nor members; what has its body in the header takes
# any type.
while read -r header name; do
  if ! grep -F -- "$name(" "$interfaces/$header" | grep -qE '= delete|constexpr'; then
    echo "$header: $name refuses no type"
    faults=1
  fi
done < <(cd "$interfaces" && grep -r --include='*_E.h' 'extern template' . |
  grep -vE 'extern template (class|struct)|>::[A-Za-z]+\(' |
  sed -E 's/:.*extern template [^(]*[ *&>]([A-Za-z]+|operator[^ (]+)(<[^()]*>)?\(.*/ \1/' | sort -u)
if [ "$lines" -eq 0 ] || [ "$faults" -ne 0 ]; then
  printf '%s\n' "$errors" | head -40
  exit 1
fi
echo "$lines calls refused by name"
