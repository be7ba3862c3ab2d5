#!/usr/bin/env bash
# Public headers include public headers and the standard library, nothing else; those of the math base,
# in Velk/, include none of the kernel that stands on it, in Sorvane/.
# Usage: check_includes.sh INTERFACES_FOLDER
set -euo pipefail
strangers=$(grep -rnE '^ *# *include' "$1" |
  grep -vE '# *include <(Velk|Sorvane)/[A-Za-z/]+_E\.h>' |
  grep -vE '# *include <[a-z_]+>' || true)
if [ -n "$strangers" ]; then
  echo "public headers include what a host may not have:"
  echo "$strangers"
  exit 1
fi
if [ ! -d "$1/Velk" ]; then
  echo "no folder $1/Velk"
  exit 1
fi
upward=$(grep -rnE '^ *# *include *[<"]Sorvane/' "$1/Velk" || true)
if [ -n "$upward" ]; then
  echo "headers of the math base include headers of the kernel:"
  echo "$upward"
  exit 1
fi
echo "every include is a public or a standard header, and the math base stands alone"
