#!/usr/bin/env bash
# Makes the Debian packages of a build tree, looks them over, installs them into a root folder that has nothing but
# what they say that they depend on, and uses them there: the command, programs in C and in C++ that were compiled
# against the package with the headers, and the Python package. Installs them over themselves, and removes them again.
# Exits with 77 where that takes rights that cannot be had.
# Usage: check_debian_packages.sh BUILD_FOLDER SOURCE_FOLDER PYTHON
set -euo pipefail
build=$1
source=$2
python=$3
# Installing means changing owners and the root folder: as root, or in a namespace where one is.
if [ "$(id -u)" -ne 0 ]; then
  if ! unshare --map-root-user true 2>/dev/null; then
    echo "neither root nor allowed to be root in a namespace"
    exit 77
  fi
  exec unshare --map-root-user "$0" "$@"
fi
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
fail() {
  echo "$*"
  exit 1
}

echo "--- made"
export SORVANE_PACKAGES_COMPRESSION=gzip SOURCE_DATE_EPOCH=1700000000
"$source/scripts/packages" "$build" "$scratch/debs"
cd "$scratch"
for deb in debs/*.deb; do
  dpkg-deb -f "$deb" Package
done | sort >names
printf '%s\n' libsorvane-dev libsorvane0 python3-sorvane sorvane | diff names -
if [ "$(dpkg-deb -f debs/libsorvane0_*.deb Depends | grep -c 'libstdc++6.*libtbb12')" != 1 ]; then
  fail "libsorvane0 does not say what it is linked to"
fi

echo "--- looked over"
lintian --allow-root --tag-display-limit 0 --fail-on error,warning debs/*.deb

echo "--- no paths of this machine"
mkdir unpacked
for deb in debs/*.deb; do
  dpkg-deb -R "$deb" "unpacked/$(basename "$deb" .deb)"
done
# Not merely in texts: a search path or an assertion would have them in a binary.
for path in "$(realpath "$source")/" "$(realpath "$build")/" "$scratch/"; do
  found=$(grep -rlaF -- "$path" unpacked || true)
  [ -z "$found" ] || fail "$path stands in $found"
done

echo "--- unpacked: programs in C and in C++, compiled by what pkg-config says"
dpkg-deb -x debs/libsorvane0_*.deb dev
dpkg-deb -x debs/libsorvane-dev_*.deb dev
# The tetrahedron on the unit vectors has the volume 1/6.
cat >volume.c <<'C'
#include <sorvane.h>

#include <stdio.h>

int main(void)
{
    const double points[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1};
    const int triangles[] = {0, 2, 1, 0, 1, 3, 0, 3, 2, 1, 2, 3};
    sorvane_mesh *mesh = NULL;
    sorvane_error error;
    double volume = 0;
    if (sorvane_mesh_new(points, 4, triangles, 4, &mesh, &error) != SORVANE_OK ||
        sorvane_mesh_measure(mesh, NULL, &volume, &error) != SORVANE_OK) {
        fprintf(stderr, "%s\n", error.message);
        return 1;
    }
    sorvane_mesh_free(mesh);
    printf("volume %.6f\n", volume);
    return 0;
}
C
pc=$(dirname "$(find dev -name sorvane_c.pc)")
# Without what else this machine has: a package that ours does not depend on is not there.
flags=$(PKG_CONFIG_LIBDIR=$pc pkg-config --cflags --libs sorvane_c)
# shellcheck disable=SC2086
cc -std=c99 -Wall -Wextra -pedantic -Werror volume.c $flags -Wl,-rpath-link,"$(dirname "$pc")" -o volume
cat >report.cpp <<'CPP'
#include <Sorvane/MeshFiles_E.h>
#include <Sorvane/MeshReport_E.h>

#include <cstdio>

using namespace Velk::Math::Sorvane;

int main()
{
    Mesh::IndexedPointsBase<3, double> part;
    if (!MeshUtils::ReadMesh(part, "/tmp/bracket.stl")) {
        return 1;
    }
    std::printf("volume %.6g\n", MeshUtils::CheckMesh(Mesh::SoupFromIndexedPoints(part), 1e-6).volume);
}
CPP
flags=$(PKG_CONFIG_LIBDIR=$pc pkg-config --cflags --libs sorvane)
# shellcheck disable=SC2086
c++ -Wall -Wextra -pedantic -Werror report.cpp $flags -Wl,-rpath-link,"$(dirname "$pc")" -o report_of_part

echo "--- installed where nothing else is"
mkdir root
use=(debs/libsorvane0_*.deb debs/sorvane_*.deb debs/python3-sorvane_*.deb)
"$python" "$source/tests/package/minimal_root.py" root "${use[@]}"
dpkg --root="$scratch/root" --install "${use[@]}" >log 2>&1 || { cat log; exit 1; }
cp volume report_of_part "$source/examples/data/bracket.stl" root/tmp/
here() {
  env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/tmp chroot "$scratch/root" "$@"
}
here ldconfig -p >listed
grep -q 'libsorvane_c\.so\.0 .*=> /lib/.*/libsorvane_c\.so\.0' listed || fail "the loader's list lacks the library"

echo "--- the command"
here sorvane report /tmp/bracket.stl | tee report
grep -q '^verdict  *sound: closed' report
[ -s root/usr/share/bash-completion/completions/sorvane ] || fail "no completion"
gzip -dc root/usr/share/man/man1/sorvane.1.gz | grep -q 'sorvane' || fail "no manual page"

echo "--- the C program"
here /tmp/volume | tee volume.txt
grep -qx 'volume 0.166667' volume.txt

echo "--- the C++ program"
here /tmp/report_of_part | tee cpp.txt

echo "--- the Python package"
here python3 -c '
import numpy, sorvane
mesh = sorvane.Mesh(numpy.vstack([numpy.zeros(3), numpy.eye(3)]), [[0, 2, 1], [0, 1, 3], [0, 3, 2], [1, 2, 3]])
print(f"volume {mesh.volume:.6f}")
bracket = sorvane.read("/tmp/bracket.stl")
print(f"volume {bracket.report().volume:.6g}")' | tee volumes.txt
sed -n 1p volumes.txt | grep -qx 'volume 0.166667'
# All are the library's figure of the same file.
sed -n 2p volumes.txt | cmp - cpp.txt
figure=$(sed -n '2s/^volume //p' volumes.txt)
grep -qF "$figure" report || fail "the command and Python disagree about the bracket"

echo "--- installed again, over what is there"
dpkg --root="$scratch/root" --install "${use[@]}" >log 2>&1 || { cat log; exit 1; }
here sorvane --version
here python3 -c 'import sorvane; print(sorvane.__version__)'

echo "--- removed"
dpkg --root="$scratch/root" --purge python3-sorvane sorvane libsorvane0 >log 2>&1 || { cat log; exit 1; }
left=$(find root -path root/tmp -prune -o -iname '*sorvane*' -print)
[ -z "$left" ] || fail "left behind: $left"
