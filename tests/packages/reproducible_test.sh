#!/usr/bin/env bash
# Builds the switch's package and archive once more, from a copy of the sources in a folder of another name,
# and compares them with those that scripts/package.sh has made here.
. "$(dirname "$0")/../../scripts/lib.sh"
architecture=$(dpkg --print-architecture)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
other=$scratch/elsewhere

mkdir "$other"
git ls-files -z | tar --create --null --files-from=- | tar --extract --directory "$other"
# A compiler cache would give back what the first build left.
env --unset=CMAKE_C_COMPILER_LAUNCHER --unset=CMAKE_CXX_COMPILER_LAUNCHER \
    "$other/scripts/package.sh" --switch >/dev/null

compared=0
for file in "$other"/build/packages/*; do
    cmp "build/packages/${file##*/}" "$file"
    compared=$((compared + 1))
done
[ $compared -eq 2 ] || {
    echo "of the switch's package and archive, $compared were built" >&2
    exit 1
}
echo "Built again elsewhere, the switch's package and archive for $architecture are the same to the byte"
