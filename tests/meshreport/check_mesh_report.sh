#!/usr/bin/env bash
# check_mesh_report.sh COMMAND DATA: `sorvane report` tells a sound part from a damaged one, by words
# and by exit code, and shows the faults.
#
# DATA/damaged_box.stl is a box made by hand: half of its lid is missing (three open edges), one triangle
# of a wall is turned (and listed with its three neighbors), a fin hangs on a lower edge (an edge of
# three triangles, and two open ones; it lies in the plane of the bottom and faces the other way), and a
# wall's diagonal has a sliver in it.
set -u
program=$1
data=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# expect CODE ARGUMENTS...: runs the program, keeps what it says in $said.
expect() {
    local code=$1
    shift
    said=$("$program" report "$@" 2>&1)
    local got=$?
    if [ "$got" -ne "$code" ]; then
        echo "exit code $got instead of $code: $*"
        echo "$said"
        failures=$((failures + 1))
    fi
}
says() {
    if ! grep -Eq "$1" <<<"$said"; then
        echo "not said: $1"
        echo "$said"
        failures=$((failures + 1))
    fi
}
holds() {
    local count
    count=$(grep -c "$2" "$work/$1")
    if [ "$count" -ne "$3" ]; then
        echo "$1 holds $count lines with $2, not $3"
        failures=$((failures + 1))
    fi
}

expect 0 "$data/bracket.stl"
says '^mesh +692 triangles on 344 points'
says '^verdict +sound'
expect 0 "$data/bracket_ascii.stl"

expect 1 "$data/damaged_box.stl" --svg "$work/box.svg" -o "$work/box.stl"
says '^OPEN +5 edges .* 2 holes'
says '^CROWDED +1 edge '
says '^TURNED +4 triangles'
says '^SLIVERS +1 triangle '
says '^FOLDED +3 triangles'
says '^verdict +DEFECTIVE'
holds box.svg 'open edges: 5' 1
holds box.svg 'slivers: 1' 1
# The turned one and its neighbors: triangles of one color are one path.
turned=$(grep '^<path fill="#f28e1c"' "$work/box.svg" | grep -v fill-opacity | grep -o ' d=".*"' | grep -o z | wc -l)
if [ "$turned" -ne 4 ]; then
    echo "box.svg shows $turned turned triangles, not 4"
    failures=$((failures + 1))
fi
# 4 turned, 3 folded, and 6 for each of 5 + 1 edges and 3 sides of the sliver: 61 triangles.
expect 1 "$work/box.stl"
says '^mesh +61 triangles'

expect 1 "$data/damaged_box.stl" --tolerance 100 # all corners become one
expect 3 "$work/missing.stl"
expect 3 "$data/bracket.stl" --svg "$work/no/such/folder.svg"
expect 2 "$data/bracket.stl" --tolerance -1
expect 2 "$data/bracket.stl" --tolerance
expect 2 "$data/bracket.stl" --wrong 1
expect 2
exit "$((failures > 0))"
