#!/usr/bin/env bash
# Installs what is missing, builds and checks everything, and runs all tests: under both sanitizers, on
# the executables as they ship, on all that is built for the switch's processor, under emulation, on the
# packages, and on the kernel's own drivers, in an emulated machine.
#   --arm64      only those for the switch's processor
#   --packages   only the packages
#   --kernel     only those on the kernel's drivers
. "$(dirname "$0")/lib.sh"

# run_tests PRESET [OPTION...]: with options of ctest.
run_tests() {
    say "Testing $1"
    # More at once than there are cores: many wait for time limits to pass. Each is given a second try: they
    # share the cores with programs that poll at top priority.
    ctest --preset "$1" --parallel $((2 * $(nproc))) --repeat until-pass:2 --quiet --output-log "build/tests-$1.log" \
        "${@:2}" || {
        cat "build/tests-$1.log"
        exit 1
    }
    tail -n 4 "build/tests-$1.log"
}

test_arm64() {
    install_arm64_packages
    register_arm64_emulator
    build arm64
    run_tests arm64
}

test_packages() {
    install_missing "${package_packages[@]}"
    say "Testing packages"
    scripts/package.sh all
    tests/packages/packages_test.sh "$(dpkg --print-architecture)"
    tests/packages/packages_test.sh arm64
}

test_kernel() {
    say "Testing on the kernel's drivers"
    tests/kernel/run.sh "$@"
}

test_all() {
    install_missing "${style_packages[@]}"
    # Of the release, the programs and the tests of programs. The tests of modules run on the other builds,
    # with the sanitizers and as optimised as here.
    build release "${shipped_targets[@]}" e2e_tests third_party_tests sweep_tests
    say "Checking style"
    scripts/check_style.sh
    build asan
    run_tests asan
    run_tests release --exclude-regex '^(sim|station|switch)_tests'
    say "Feeding hostile bytes"
    scripts/fuzz.sh --quick
    test_arm64
    test_packages
    test_kernel --cuts 10
    say "All tests pass"
}

install_missing "${build_packages[@]}"
case ${1-} in
--arm64) test_arm64 ;;
--packages) test_packages ;;
--kernel) test_kernel "${@:2}" ;;
"") test_all ;;
*)
    echo "usage: scripts/test.sh [--arm64 | --packages | --kernel]" >&2
    exit 2
    ;;
esac
