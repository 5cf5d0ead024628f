#!/usr/bin/env bash
# Builds the switch's package and archive once more, from a copy of the sources in a folder of another name, in a
# time zone where it is another day, and compares them with those that scripts/package.sh has made here.
#   reproducible_test.sh [amd64|arm64]    by default for this machine
. "$(dirname "$0")/../../scripts/lib.sh"
architecture=${1:-$(dpkg --print-architecture)}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
other=$scratch/elsewhere

# Hours west of Greenwich: it is yesterday there in the morning, and tomorrow 14 hours east of it later on.
another_day=ZZZ12
[ "$(date --utc +%-H)" -lt 12 ] || another_day=ZZZ-14

mkdir "$other"
git ls-files -z | tar --create --null --files-from=- | tar --extract --directory "$other"
# A compiler cache would give back what the first build left.
env --unset=CMAKE_C_COMPILER_LAUNCHER --unset=CMAKE_CXX_COMPILER_LAUNCHER TZ="$another_day" \
    "$other/scripts/package.sh" --switch "$architecture" >/dev/null

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
