#!/usr/bin/env bash
# A host takes the library in with add_subdirectory: its build type and settings stay what they were, the
# README's program runs with the shared and with the static library, and the host's installation does
# not become the library's. The library is configured with the options of the build that runs this test,
# whose objects are taken wherever the host's build would run the same command (same_compile.py): that all
# of them are is tested as well.
# Usage: check_subdirectory.sh CMAKE SOURCE_FOLDER BUILD_FOLDER OPTION...     (of both builds)
set -euo pipefail
cmake=$1
source=$2
build=$3
shift 3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
run() {
  "$@" >"$scratch/log" 2>&1 || { cat "$scratch/log"; exit 1; }
}

mkdir "$scratch/host"
cp "$source/tests/package/subdirectory/CMakeLists.txt" "$scratch/host/"
# The first C++ block of the README.
awk '/^```cpp$/ {inside = 1; next} /^```$/ {if (inside) exit} inside' "$source/README.md" \
  >"$scratch/host/main.cpp"
cp "$source/examples/data/bracket.stl" "$scratch/part.stl"
options=(-S "$scratch/host" -G Ninja "-DSORVANE_SOURCE=$source" "$@")

echo "--- without a build type"
run "$cmake" "${options[@]}" -B "$scratch/plain"
if ! grep -q '^CMAKE_BUILD_TYPE:[A-Z]*=$' "$scratch/plain/CMakeCache.txt"; then
  grep '^CMAKE_BUILD_TYPE' "$scratch/plain/CMakeCache.txt"
  exit 1
fi

echo "--- built"
same=$source/tests/package/same_compile.py
"$same" --table "$build" "$scratch/table"
# It is started for each source: as the program itself, not by way of a wrapper that looks for it, and without
# packages.
python=$(python3 -c 'import sys; print(sys.executable)')
run "$cmake" "${options[@]}" -B "$scratch/build" -DCMAKE_BUILD_TYPE=Release \
  "-DCMAKE_CXX_COMPILER_LAUNCHER=$python;-I;-S;$same;$scratch/table"
run "$cmake" --build "$scratch/build" --parallel 2 --target host_Sorvane host_static
if [ "$(cat "$scratch/table")" != '{}' ] && grep -v '/main\.cpp$' "$scratch/table.compiled"; then
  echo "these sources of the library are compiled otherwise in a host's build than in its own"
  exit 1
fi
(cd "$scratch" && build/host_Sorvane part.stl) | tee "$scratch/shared"
(cd "$scratch" && build/host_static part.stl) | tee "$scratch/static"
cmp "$scratch/shared" "$scratch/static"
grep -q '[1-9]' "$scratch/shared"
# Read to the end: a `grep -q` that closes the pipe early would make ldd fail now and then.
ldd "$scratch/build/host_Sorvane" >"$scratch/shared_libraries"
grep -q libsorvane "$scratch/shared_libraries"
ldd "$scratch/build/host_static" >"$scratch/static_libraries"
if grep libsorvane "$scratch/static_libraries"; then
  echo "the host of the static library needs the shared one"
  exit 1
fi

echo "--- installed"
run "$cmake" --install "$scratch/build" --prefix "$scratch/prefix"
installed=$(cd "$scratch/prefix" && find . -type f)
if [ "$installed" != ./bin/host_static ]; then
  echo "installed with the host: $installed"
  exit 1
fi
