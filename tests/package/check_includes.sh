#!/usr/bin/env bash
# Public headers include public headers and the standard library, nothing else.
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
echo "every include is a public or a standard header"
