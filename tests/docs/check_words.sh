#!/usr/bin/env bash
# Spelling is American everywhere (docs/terms.md). Names that are exported with another spelling are no words
# of their own and pass.
# Usage: check_words.sh SOURCE_FOLDER
set -euo pipefail
cd "$1"
british='neighbour(s|ed|ing|hood|hoods)?|colour(s|ed|ing|ings)?|centre[sd]?|grey|behaviours?|(milli|micro|centi)?metres?'
british+='|favour(s|ed|able)?|honour(s|ed)?|(paral|analy|cata)lyse[sd]?|catalogues?|artefacts?|licences?|defence|judgement|whilst'
british+='|(label|travel|cancel|model|signal)(led|ling|ler)'
british+='|(amort|normal|initial|optim|organ|general|minim|maxim|special|recogn|parallel|serial|summar|final|canonical|discret'
british+='|real|stabil|symmetr|equal|penal|util|visual)is(e|es|ed|er|ers|ing|ation|ations)'
found=$(grep -rniwE "$british" --include='*.h' --include='*.cpp' --include='*.md' --include='*.cmake' --include='*.txt' \
  --include='*.sh' --include='*.awk' --include='*.dox' --exclude-dir=build --exclude-dir=out --exclude-dir=.git \
  --exclude-dir=corpus --exclude-dir=data --exclude=check_words.sh . scripts .ci NOTICE || true)
if [ -n "$found" ]; then
  echo "$found"
  echo "docs/terms.md: American spelling"
  exit 1
fi
