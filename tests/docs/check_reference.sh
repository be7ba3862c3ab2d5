#!/usr/bin/env bash
# Builds the API reference and checks that it is whole: every exported name, a list of known names in their
# families, the pictures, the links of the pages, and the way from each guide page to its functions.
# Usage: check_reference.sh SOURCE_FOLDER
set -euo pipefail
export LC_ALL=C
source=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0
fail() {
  echo "$*"
  failures=$((failures + 1))
}

"$source/scripts/docs" "$scratch" || { echo "the reference does not build without warnings"; exit 1; }
pages=$scratch/docs
cd "$pages"

# One line for each name shown: family or -, full name. Members of a class have the family of the class.
awk '
  function Text(line) {
    gsub(/^ *<[^>]*>|<\/[^>]*>$/, "", line)
    gsub(/&lt;.*/, "", line)
    sub(/ +$/, "", line)
    return line
  }
  /^  <compound / { kind = $2; gsub(/kind="|".*/, "", kind); scope = ""; inMember = 0 }
  /^    <name>/ { scope = Text($0); if (kind == "class" || kind == "struct") { print "-", scope } }
  /^    <class / && kind == "group" { familyOf[Text($0)] = scope; print scope, Text($0) }
  /^    <class / && kind == "namespace" { print "-", Text($0) }
  /^    <member / { inMember = 1 }
  /^      <name>/ && inMember { member = Text($0) }
  /^      <anchorfile>/ && inMember {
    family = Text($0)
    if (family !~ /^group__/) { family = "-" }
    gsub(/^group__|\.html$/, "", family)
    if (kind == "namespace") { print family, scope "::" member }
    if (kind == "group") { print scope, member }
    if (kind == "class" || kind == "struct") { ++members; memberName[members] = member; memberScope[members] = scope }
  }
  END {
    for (i = 1; i <= members; ++i) {
      family = familyOf[memberScope[i]]
      print (family == "" ? "-" : family), memberScope[i] "::" memberName[i]
    }
  }' sorvane.tag | sort -u >"$scratch/shown"
cut -d' ' -f2- "$scratch/shown" | sort -u >"$scratch/shown_names"

# Exported functions outside of classes, and the classes that exported members belong to.
awk '
  /::Impl::/ && !/Impl::Deco/ { next }
  { sub(/^(vtable|typeinfo|typeinfo name|VTT) for /, "class "); sub(/^(non-virtual|virtual) thunk to /, "") }
  { gsub(/operator<</, "operator_"); while (gsub(/<[^<>]*>/, "")) { } }
  { gsub(/\[abi:[a-z0-9]*\]/, ""); sub(/ \[clone.*/, ""); sub(/\(.*/, ""); sub(/^.* /, "") }
  /^Velk::/ && !/operator/' "$source/tests/exports.txt" | sort -u >"$scratch/exported"
[ "$(wc -l <"$scratch/exported")" -gt 200 ] || fail "the list of exported symbols was not understood"
# A private member is told by its class, the only thing of it that is shown.
awk '
  NR == FNR { shown[$0] = 1; next }
  { for (name = $0; name != "" && !(name in shown); ) { if (!sub(/::[^:]*$/, "", name)) { name = "" } } }
  name == "" { print }' "$scratch/shown_names" "$scratch/exported" >"$scratch/missing"
while read -r name; do
  fail "exported, but not in the reference: $name"
done <"$scratch/missing"

while read -r family name; do
  case $family in '#'*) continue ;; esac
  grep -qxF "$family $name" "$scratch/shown" || fail "not in the family $family of the reference: $name"
done <"$source/tests/docs/reference_names.txt"

# Doxygen names the page of docs/a-b.md md_docs_a_b.html; other versions write docs_2a-b.
html_of() {
  local stem
  stem=$(basename "$1" .md)
  if [ "$1" = README.md ]; then echo index.html; return; fi
  ls | grep -E "^md_docs_(2)?(${stem}|${stem//-/_}|${stem//-/_2})\.html$" || fail "no page for $1"
}

for picture in "$source"/docs/pictures/*.svg; do
  name=$(basename "$picture")
  used=0
  for page in "$source"/README.md "$source"/CONTRIBUTING.md "$source"/docs/*.md; do
    grep -q "pictures/$name)" "$page" || continue
    used=1
    html=$(html_of "${page#"$source"/}")
    grep -qE "<(object|img|embed)[^>]*\"$name\"" "$html" || fail "$html does not show $name"
  done
  [ $used = 1 ] || fail "no page shows $name"
  [ -s "$name" ] || fail "not in the reference: $name"
done

while read -r header family page; do
  case $header in '#'*) continue ;; esac
  [ -e "$source/Interfaces/$header" ] || fail "docs/reference/families.txt: no header $header"
  html=$(html_of "$page")
  [ "$page" = README.md ] && continue
  grep -q "href=\"group__$family.html\"" "$html" || fail "$html has no link to its family $family"
  grep -qE "href=\"(group__|class|struct)[^\"]*#" "$html" || fail "$html links to no function"
done <"$source/docs/reference/families.txt"

# Every link within the pages leads somewhere. Doxygen 1.9 heads classes whose nested ones are all private
# with a link to a list that it leaves out.
for html in index.html md_*.html group__*.html class*.html struct*.html namespace*.html; do
  grep -oE 'href="[^"]*"' "$html" | sed 's/^href="//; s/"$//' | grep -vE '^(https?:|javascript:|mailto:)|#nested-classes$' |
    sed "s|^#|$html#|" | sort -u >"$scratch/links" || true
  while read -r link; do echo "$html $link"; done <"$scratch/links"
done >"$scratch/all_links"
cut -d' ' -f2 "$scratch/all_links" | sort -u | while read -r link; do
  file=${link%%#*}
  if [ ! -e "$file" ]; then
    echo "$link"
  elif [ "$file" != "$link" ] && [ "${link#*#}" != "" ] &&
    ! grep -qE "(id|name)=\"${link#*#}\"" "$file"; then
    echo "$link"
  fi
done >"$scratch/broken"
while read -r link; do
  fail "a link that leads nowhere: $(grep -F " $link" "$scratch/all_links" | head -n 1)"
done <"$scratch/broken"

[ $failures = 0 ] || { echo "$failures faults"; exit 1; }
echo "$(wc -l <"$scratch/shown_names") names, $(wc -l <"$scratch/exported") of them exported"
