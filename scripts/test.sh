#!/usr/bin/env bash
# Installs what is missing, builds and checks everything, and runs all tests, once under both
# sanitizers and once on the executables as they ship.
. "$(dirname "$0")/lib.sh"
install_missing "${build_packages[@]}" "${style_packages[@]}"

build release
scripts/check_style.sh
build asan
for preset in asan release; do
    echo "Testing $preset"
    # Each is given a second try: the tests share two cores with programs that poll at top priority.
    ctest --preset "$preset" --parallel "$(nproc)" --repeat until-pass:2 --quiet --output-log "build/tests-$preset.log" || {
        cat "build/tests-$preset.log"
        exit 1
    }
    tail -n 4 "build/tests-$preset.log"
done
scripts/fuzz.sh --quick
