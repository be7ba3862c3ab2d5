#!/usr/bin/env bash
# Installs the library to a scratch prefix, then builds and runs the README's program against it: through
# find_package, and through pkg-config.
# Usage: check_package.sh CMAKE BUILD_FOLDER SOURCE_FOLDER COMPILER
set -euo pipefail
cmake=$1
build=$2
source=$3
compiler=$4
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

"$cmake" --install "$build" --prefix "$scratch/prefix" >/dev/null
if ! grep -q 'Boost Software License' "$(find "$scratch/prefix" -name NOTICE)"; then
  echo "the licenses of what is used are not installed"
  exit 1
fi

mkdir "$scratch/consumer"
cp "$source/tests/package/consumer/CMakeLists.txt" "$scratch/consumer/"
# The first C++ block of the README.
awk '/^```cpp$/ {inside = 1; next} /^```$/ {if (inside) exit} inside' "$source/README.md" \
  >"$scratch/consumer/main.cpp"
if ! grep -q 'int main' "$scratch/consumer/main.cpp"; then
  echo "the README's first C++ block is no program"
  exit 1
fi
cp "$source/examples/data/bracket.stl" "$scratch/part.stl"

echo "--- through find_package"
"$cmake" -S "$scratch/consumer" -B "$scratch/consumer/build" -G Ninja \
  -DCMAKE_PREFIX_PATH="$scratch/prefix" -DCMAKE_CXX_COMPILER="$compiler" >"$scratch/log" 2>&1 &&
  "$cmake" --build "$scratch/consumer/build" >>"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }
(cd "$scratch" && consumer/build/consumer part.stl) | tee "$scratch/one"

echo "--- through pkg-config"
pc=$(dirname "$(find "$scratch/prefix" -name sorvane.pc)")
flags=$(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs sorvane)
# shellcheck disable=SC2086
"$compiler" "$scratch/consumer/main.cpp" $flags -Wl,-rpath,"$(dirname "$pc")" -o "$scratch/direct"
(cd "$scratch" && ./direct part.stl) | tee "$scratch/two"
cmp "$scratch/one" "$scratch/two"
grep -q '[1-9]' "$scratch/one"
