#!/usr/bin/env bash
# Installs what is missing, builds, and tests. On its own it answers within minutes:
#   - the style of all files, lint of the switch program, manual pages;
#   - unit tests under AddressSanitizer and UndefinedBehaviorSanitizer;
#   - the programs as they ship, over simulated boards and under programs that others wrote;
#   - hostile bytes, a fixed number for each parser.
# With --all it goes on, for everything that is built:
#   - lint of the simulated board, the station, the ledger and the floor;
#   - the programs of the switch and the station under both sanitizers;
#   - every operation failing in turn, power cuts and bad lines (the sweeps), and the same for the ledger;
#   - what is built for the switch's processor, and its tests, under emulation;
#   - the packages: installed, run, removed, and the same to the byte when they are built again;
#   - the kernel's own drivers, in an emulated machine.
# Parts of it:
#   --arm64      only those for the switch's processor
#   --packages   only the packages
#   --kernel     only those on the kernel's drivers
. "$(dirname "$0")/lib.sh"

unit_tests='^(bench|floor|ledger|sim|station|switch)_tests/'
program_tests='^(console|e2e|ledger_e2e|line|provision|third_party)_tests/|^packages/'
sweeps='^(ledger_proofs|sweep_tests)/'
sanitized_programs='^(e2e|line|sweep|third_party)_tests/'
# Of what a switch runs, and of the board that it is tested on; the station's programs are for PCs.
arm64_tests=(e2e_tests sim_tests switch_tests third_party_tests)
arm64_pattern='^(e2e|sim|switch|third_party)_tests/'

# run_tests PRESET [OPTION...]: with options of ctest.
run_tests() {
    say "Testing $1"
    # More at once than there are cores: many wait for time limits to pass.
    ctest --preset "$1" --parallel $((2 * $(nproc))) --quiet --output-log "build/tests-$1.log" \
        "${@:2}" || {
        cat "build/tests-$1.log"
        exit 1
    }
    tail -n 4 "build/tests-$1.log"
}

# The modules run under the sanitizers and the programs as they ship: no test is built twice.
test_quickly() {
    # What the build needs is there; the rest comes in while it runs.
    install_missing "${style_packages[@]}" "${fuzz_packages[@]}" &
    local installation=$!
    build release "${shipped_targets[@]}" "${pc_targets[@]}" console_tests e2e_tests ledger_e2e_tests line_tests provision_tests \
        third_party_tests
    run_tests release --tests-regex "$program_tests"
    wait $installation
    say "Checking style"
    scripts/check_style.sh
    build asan bench_tests floor_tests ledger_tests sim_tests station_tests switch_tests
    run_tests asan --tests-regex "$unit_tests"
    say "Feeding hostile bytes"
    scripts/fuzz.sh --quick
}

test_the_rest() {
    say "Linting all programs"
    scripts/check_style.sh --lint-rest
    build release ledger_proofs sweep_tests
    run_tests release --tests-regex "$sweeps"
    build asan "${pc_targets[@]}" e2e_tests line_tests sweep_tests third_party_tests
    run_tests asan --tests-regex "$sanitized_programs"
    test_arm64
    test_packages
    test_kernel --cuts 10
}

test_arm64() {
    install_arm64_packages
    register_arm64_emulator
    build arm64 "${shipped_targets[@]}" "${arm64_tests[@]}"
    run_tests arm64 --tests-regex "$arm64_pattern"
}

test_packages() {
    install_missing "${package_packages[@]}"
    say "Testing packages"
    scripts/package.sh all
    tests/packages/packages_test.sh "$(dpkg --print-architecture)"
    tests/packages/packages_test.sh arm64
    tests/packages/reproducible_test.sh
}

test_kernel() {
    say "Testing on the kernel's drivers"
    tests/kernel/run.sh "$@"
}

install_missing "${build_packages[@]}" "${test_packages[@]}"
case ${1-} in
--arm64) test_arm64 ;;
--packages) test_packages ;;
--kernel) test_kernel "${@:2}" ;;
--all)
    test_quickly
    test_the_rest
    say "All tests pass"
    ;;
"")
    test_quickly
    say "These tests pass; scripts/test.sh --all runs the rest"
    ;;
*)
    echo "usage: scripts/test.sh [--all | --arm64 | --packages | --kernel]" >&2
    exit 2
    ;;
esac
