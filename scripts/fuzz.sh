#!/usr/bin/env bash
# Feeds hostile bytes to the parsers of the switch program and of the station:
#
#   scripts/fuzz.sh TARGET SECONDS [OPTION...]   one target, as long as one likes; libFuzzer's options
#   scripts/fuzz.sh --quick                      all targets, a fixed number of runs each, 10 s at most
#   scripts/fuzz.sh --coverage                   the lines that seeds and corpus reach
#   scripts/fuzz.sh --list                       the names of the targets
#
# Installs what is missing and builds. What a target has found interesting is kept in
# build/fuzz/corpus/TARGET, what fails in build/fuzz/findings.
. "$(dirname "$0")/lib.sh"

folder=build/fuzz
quick_runs=5000
quick_seconds=10
mapfile -t targets < <(sed -n 's/^\([a-z][a-z_]*\) .*/\1/p' fuzz/targets.txt)

# prepare PRESET: the targets of that preset, and the seeds.
prepare() {
    install_missing "${build_packages[@]}" "${fuzz_packages[@]}"
    build "$1"
    mkdir -p "$folder/findings"
    rm -rf "$folder/seeds"
    python3 fuzz/make_seeds.py "$folder/seeds"
}

# run TARGET CORPUS OPTION...: new inputs go into the corpus, seeds are read beside it.
run() {
    local target=$1 corpus=$2
    shift 2
    mkdir -p "$corpus"
    "$folder/bin/$target" -dict=fuzz/words.dict -timeout=20 -artifact_prefix="$folder/findings/$target-" \
        "$@" "$corpus" "$folder/seeds/$target"
}

# run_quickly TARGET: the same runs each time.
run_quickly() {
    rm -rf "$folder/quick/$1"
    run "$1" "$folder/quick/$1" -seed=1 -runs="$quick_runs" -max_total_time="$quick_seconds" >"$folder/quick-$1.log" 2>&1 || {
        cat "$folder/quick-$1.log"
        return 255 # ends xargs
    }
    grep '^Done' "$folder/quick-$1.log" | sed "s/^Done/$1:/"
}

# report TARGET MODULE...: a line of the table for each module.
report() {
    local target=$1 data=build/fuzz-coverage/$1
    shift
    LLVM_PROFILE_FILE=$data.profraw "build/fuzz-coverage/bin/$target" -runs=0 \
        "$folder/seeds/$target" "$folder/corpus/$target" >"$data.log" 2>&1
    llvm-profdata-14 merge -o "$data.profdata" "$data.profraw"
    llvm-cov-14 report "build/fuzz-coverage/bin/$target" -instr-profile "$data.profdata" "$@" |
        awk -v target="$target" '/^\// || /\.cpp/ { sub(".*/", "", $1)
            printf "%-16s %-26s %6d %6d  %s\n", target, $1, $8, $8 - $9, $10 }'
}

case ${1-} in
--list)
    printf '%s\n' "${targets[@]}"
    ;;
--quick)
    prepare fuzz
    export folder quick_runs quick_seconds
    export -f run run_quickly
    printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -euc 'run_quickly {}'
    ;;
--coverage)
    prepare fuzz-coverage
    printf '%-16s %-26s %6s %6s\n' target module lines reached
    while read -r target modules; do
        mkdir -p "$folder/corpus/$target"
        # shellcheck disable=SC2086 # the modules are words
        report "$target" $modules
    done < <(grep '^[a-z]' fuzz/targets.txt)
    ;;
*)
    if [ $# -lt 2 ] || ! printf '%s\n' "${targets[@]}" | grep -qx -- "$1"; then
        sed -n 's/^#   //p' "$0" >&2
        exit 2
    fi
    prepare fuzz
    run "$1" "$folder/corpus/$1" -max_total_time="$2" -print_final_stats=1 "${@:3}"
    ;;
esac
