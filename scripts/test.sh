#!/usr/bin/env bash
# Installs what is missing, builds, and tests. On its own it answers within minutes, from one build under
# AddressSanitizer and UndefinedBehaviorSanitizer:
#   - the style of all files, manual pages;
#   - unit tests;
#   - the programs, over simulated boards and under programs that others wrote;
#   - hostile bytes, a fixed number for each parser.
# With --all it goes on:
#   - the programs as they ship, in the same tests, and the switch program's storage, cut at every byte;
#   - every operation failing in turn, power cuts and bad lines (the sweeps), with the programs as they ship; a
#     part of them under the sanitizers; many users of the ledger at once, its end at every call, connections that break;
#     200 kills of a floor with busy slots, and slots in trouble beside good ones;
#   - lint of all programs;
#   - what is built for the switch's processor, and its tests, under emulation;
#   - the packages: installed, run, removed, and the same to the byte when they are built again;
#   - the kernel's own drivers, in an emulated machine.
# Parts of it:
#   --arm64      only those for the switch's processor
#   --packages   only the packages
#   --page       only those of the operator's page, in a browser; not a part of --all yet
#   --threads    only those of station and floor under ThreadSanitizer; not a part of --all yet
#   --kernel     only those on the kernel's drivers
. "$(dirname "$0")/lib.sh"

module_tests=(
    bench_tests floor_ledger_tests floor_slot_tests floor_tests ledger_tests power_cut_tests sim_tests
    station_tests switch_tests
)
program_tests=(
    console_tests e2e_tests floor_e2e_tests ledger_e2e_tests line_tests provision_tests third_party_tests
)
long_tests=(floor_proofs ledger_proofs sweep_tests)
# Of what a switch runs, and of the board that it is tested on; the station's programs are for PCs.
arm64_tests=(e2e_tests power_cut_tests sim_tests switch_tests third_party_tests)

# tests_of EXECUTABLE...: a pattern for the tests of those; and for what stands for them where they are not
# built, which fails.
tests_of() {
    local IFS='|'
    echo "^($*)(/|_NOT_BUILT)"
}

# run_tests PRESET OPTION...: with options of ctest.
run_tests() {
    say "Testing $1"
    # More at once than there are cores: many wait for time limits to pass.
    ctest --preset "$1" --parallel $((3 * $(nproc))) --quiet --output-log "build/tests-$1.log" \
        --no-tests=error "${@:2}" || {
        cat "build/tests-$1.log"
        exit 1
    }
    tail -n 4 "build/tests-$1.log"
}

# All is compiled once, and in a way that finds most.
test_quickly() {
    say "Checking style"
    scripts/check_style.sh
    build asan "${shipped_targets[@]}" "${pc_targets[@]}" "${module_tests[@]}" "${program_tests[@]}"
    run_tests asan --exclude-regex "$(tests_of "${long_tests[@]}")"
    say "Feeding hostile bytes"
    scripts/fuzz.sh --quick
}

test_the_rest() {
    local tests=(power_cut_tests "${program_tests[@]}" "${long_tests[@]}")
    build release "${shipped_targets[@]}" "${pc_targets[@]}" "${tests[@]}"
    SETMAC_SWEEP=all SETMAC_FLOOR_KILLS=200 SETMAC_LEDGER_RESERVATIONS=20000 \
        run_tests release --tests-regex "$(tests_of "${tests[@]}")"
    build asan sweep_tests
    run_tests asan --tests-regex "$(tests_of sweep_tests)"
    say "Linting"
    scripts/check_style.sh --lint
    test_arm64
    test_packages
    test_kernel --cuts 10
}

test_arm64() {
    install_arm64_packages
    register_arm64_emulator
    build arm64 "${shipped_targets[@]}" "${arm64_tests[@]}"
    run_tests arm64 --tests-regex "$(tests_of "${arm64_tests[@]}")"
}

test_packages() {
    install_missing "${package_packages[@]}"
    say "Testing packages"
    scripts/package.sh all
    tests/packages/packages_test.sh "$(dpkg --print-architecture)"
    tests/packages/packages_test.sh arm64
    tests/packages/reproducible_test.sh
    tests/packages/reproducible_test.sh arm64
}

# What has threads: runs that are cancelled, and a floor.
test_threads() {
    local tests=(floor_ledger_tests floor_slot_tests floor_tests station_tests)
    build tsan "${tests[@]}"
    run_tests tsan --tests-regex "$(tests_of "${tests[@]}")"
}

test_page() {
    say "Testing the operator's page"
    tests/browser/run.sh
}

test_kernel() {
    say "Testing on the kernel's drivers"
    tests/kernel/run.sh "$@"
}

needed=("${build_packages[@]}" "${test_packages[@]}")
case ${1-} in "" | --all) needed+=("${fuzz_packages[@]}" "${style_packages[@]}") ;; esac
install_missing "${needed[@]}"
case ${1-} in
--arm64) test_arm64 ;;
--packages) test_packages ;;
--page) test_page ;;
--threads) test_threads ;;
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
    echo "usage: scripts/test.sh [--all | --arm64 | --packages | --page | --threads | --kernel]" >&2
    exit 2
    ;;
esac
