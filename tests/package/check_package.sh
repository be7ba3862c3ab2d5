#!/usr/bin/env bash
# Installs the library to a scratch prefix, then builds and runs the README's program against it: through
# find_package, and through pkg-config. So it does with the program of the C interface's page, in pure C.
# Usage: check_package.sh CMAKE BUILD_FOLDER SOURCE_FOLDER COMPILER [C_COMPILER]
set -euo pipefail
cmake=$1
build=$2
source=$3
compiler=$4
c_compiler=${5:-cc}
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
(cd "$scratch" && consumer/build/consumer) | tee "$scratch/one"

echo "--- through pkg-config"
pc=$(dirname "$(find "$scratch/prefix" -name sorvane.pc)")
flags=$(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs sorvane)
# shellcheck disable=SC2086
"$compiler" "$scratch/consumer/main.cpp" $flags -Wl,-rpath,"$(dirname "$pc")" -o "$scratch/direct"
(cd "$scratch" && ./direct) | tee "$scratch/two"
cmp "$scratch/one" "$scratch/two"
grep -q '^0 open edges, volume [1-9]' "$scratch/one"

# The same job in a shell and in Python, from the same page: the same figures, the same mesh.
first_block() {
  awk -v fence="\`\`\`$1" '$0 == fence {inside = 1; next} /^```$/ {if (inside) exit} inside' "$source/README.md"
}
# Volume and area to six digits, and the mesh that is left in FOLDER.
figures() {
  sed -nE 's/.*volume +([0-9.]+).*/\1/p; s/^area +([0-9.]+).*/\1/p' "$1" | head -n 2 | xargs printf '%.6g\n'
  sha256sum <"$2/light.stl"
}
figures "$scratch/two" "$scratch" >"$scratch/figures"
[ "$(wc -l <"$scratch/figures")" -eq 3 ]
if [ -x "$scratch/prefix/bin/sorvane" ]; then
  echo "--- in a shell"
  mkdir "$scratch/shell"
  cp "$scratch/part.stl" "$scratch/shell/"
  first_block sh >"$scratch/shell/job"
  (cd "$scratch/shell" && PATH=$scratch/prefix/bin:$PATH bash -e job) | tee "$scratch/shell/said"
  figures "$scratch/shell/said" "$scratch/shell" | diff "$scratch/figures" -
fi
if [ -n "${PYTHONPATH:-}" ]; then
  echo "--- in Python"
  mkdir "$scratch/python"
  cp "$scratch/part.stl" "$scratch/python/"
  first_block python >"$scratch/python/job"
  (cd "$scratch/python" && "$SORVANE_PYTHON" job) | sed 's/^sound/sound volume/' | tee "$scratch/python/said"
  figures "$scratch/python/said" "$scratch/python" | diff "$scratch/figures" -
fi

if [ -e "$scratch/prefix/bin/sorvane" ]; then
  echo "--- the command"
  # It finds the library beside it, wherever the whole has been moved to.
  mv "$scratch/prefix" "$scratch/moved"
  "$scratch/moved/bin/sorvane" report "$scratch/part.stl" | grep -q 'verdict       sound'
  grep -q '^\.SS sorvane report' "$scratch/moved/share/man/man1/sorvane.1"
  bash -n "$scratch/moved/share/bash-completion/completions/sorvane"
  mv "$scratch/moved" "$scratch/prefix"
fi

if [ ! -e "$scratch/prefix/include/sorvane.h" ]; then
  echo "without the C interface"
  exit 0
fi
mkdir "$scratch/c_consumer"
cp "$source/tests/package/c_consumer/CMakeLists.txt" "$scratch/c_consumer/"
# The first C block of the page.
awk '/^```c$/ {inside = 1; next} /^```$/ {if (inside) exit} inside' "$source/docs/c-interface.md" \
  >"$scratch/c_consumer/main.c"
if ! grep -q 'int main' "$scratch/c_consumer/main.c"; then
  echo "the first C block of docs/c-interface.md is no program"
  exit 1
fi

echo "--- C through find_package"
"$cmake" -S "$scratch/c_consumer" -B "$scratch/c_consumer/build" -G Ninja \
  -DCMAKE_PREFIX_PATH="$scratch/prefix" -DCMAKE_C_COMPILER="$c_compiler" >"$scratch/log" 2>&1 &&
  "$cmake" --build "$scratch/c_consumer/build" >>"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }
(cd "$scratch" && c_consumer/build/consumer part.stl) | tee "$scratch/three"

echo "--- C through pkg-config"
flags=$(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs sorvane_c)
# shellcheck disable=SC2086
"$c_compiler" -std=c99 -Wall -Wextra -pedantic -Werror "$scratch/c_consumer/main.c" $flags \
  -Wl,-rpath,"$(dirname "$pc")" -o "$scratch/c_direct"
(cd "$scratch" && ./c_direct part.stl) | tee "$scratch/four"
cmp "$scratch/three" "$scratch/four"
grep -q '^692 triangles, area .*, sound$' "$scratch/four"
if (cd "$scratch" && ./c_direct missing.stl) 2>"$scratch/five"; then
  echo "a missing file is no failure"
  exit 1
fi
grep -q 'missing.stl: ' "$scratch/five"
