#!/usr/bin/env bash
# Feeds hostile bytes to the parsers of the switch program and of the station:
#
#   scripts/fuzz.sh TARGET SECONDS [OPTION...]   one target, as long as one likes; libFuzzer's options
#   scripts/fuzz.sh --quick                      all targets, a fixed number of runs each, of the build for tests
#   scripts/fuzz.sh --campaign RUNS [CORES]      so many runs in all: the fast targets have more
#   scripts/fuzz.sh --coverage                   the lines that seeds and corpus reach
#   scripts/fuzz.sh --list                       the names of the targets
#
# Installs what is missing and builds. What a target has found interesting is kept in
# build/fuzz/corpus/TARGET, what fails in build/fuzz/findings. A campaign takes one core unless told
# otherwise, goes on from that corpus, and ends with a table, which is also build/fuzz/campaign.txt. A
# target ends with its first finding, the others go on, and the status is then 1.
. "$(dirname "$0")/lib.sh"

folder=build/fuzz
programs=$folder/bin
reports=build/fuzz-coverage
quick_runs=1000
mapfile -t targets < <(sed -n 's/^\([a-z][a-z_]*\) .*/\1/p' fuzz/targets.txt)

usage() {
    sed -n 's/^#   //p' scripts/fuzz.sh >&2
    exit 2
}

# prepare PRESET [TARGET...]: the targets of that preset, and the seeds.
prepare() {
    install_missing "${build_packages[@]}" "${fuzz_packages[@]}"
    build "$@"
    mkdir -p "$folder/findings"
    rm -rf "$folder/seeds"
    python3 fuzz/make_seeds.py "$folder/seeds"
}

# options TARGET: libFuzzer's. Inputs longer than those of targets.txt reach little more and take long. A
# statistic of the rare features takes as long as the runs where there are thousands.
options() {
    printf -- '-entropic=0\n-max_len=%s\n' "$(awk -v target="$1" '$1 == target { print $2 }' fuzz/targets.txt)"
}

# run TARGET CORPUS OPTION...: new inputs go into the corpus, seeds are read beside it.
run() {
    local target=$1 corpus=$2 own
    shift 2
    mkdir -p "$corpus"
    mapfile -t own < <(options "$target")
    "$programs/$target" -dict=fuzz/words.dict "${own[@]}" -timeout=20 \
        -artifact_prefix="$folder/findings/$target-" "$@" "$corpus" "$folder/seeds/$target"
}

# run_quickly TARGET: the same runs each time.
run_quickly() {
    rm -rf "$folder/quick/$1"
    run "$1" "$folder/quick/$1" -seed=1 -runs="$quick_runs" >"$folder/quick-$1.log" 2>&1 || {
        cat "$folder/quick-$1.log"
        return 255 # ends xargs
    }
    grep '^Done' "$folder/quick-$1.log" | sed "s/^Done/$1:/"
}

# campaign_target TARGET RUNS: a target's part of a campaign, and its row: target, runs, seconds of the
# processor (which it may share), places in the code and features reached, inputs in its corpus, findings.
campaign_target() {
    local target=$1 log=$folder/campaign/$1 user system failed=0 findings
    local TIMEFORMAT='%U %S'
    touch "$log.started"
    # A finding ends the target, and is counted, also where its input could not be kept.
    { time run "$target" "$folder/corpus/$target" -runs="$2" -interrupted_exit_code=0 \
        -print_final_stats=1 >"$log.log" 2>&1; } 2>"$log.time" || failed=1
    findings=$(find "$folder/findings" -name "$target-*" -newer "$log.started" | wc -l)
    read -r user system < <(tail -n 1 "$log.time")
    awk -v target="$target" -v seconds="$(awk "BEGIN { print $user + $system }")" \
        -v corpus="$(find "$folder/corpus/$target" -type f | wc -l)" \
        -v findings="$((findings > failed ? findings : failed))" '
        match($0, /cov: [0-9]+ ft: [0-9]+/) { split(substr($0, RSTART, RLENGTH), reached) }
        /^stat::number_of_executed_units/ { runs = $2 }
        END { print target, runs + 0, seconds, reached[2] + 0, reached[4] + 0, corpus, findings }' "$log.log" |
        tee -a "$log.row"
}

# campaign_table ROW...: the rows of each target as one, and their sum; fails where something was found.
campaign_table() {
    awk 'function show(name, runs, seconds, places, features, corpus, findings) {
            printf "%-16s %10d %8.0f %8.0f %8s %8s %8d %9d\n", name, runs, seconds,
                seconds ? runs / seconds : 0, places, features, corpus, findings
        }
        BEGIN {
            printf "%-16s %10s %8s %8s %8s %8s %8s %9s\n",
                "target", "runs", "cpu s", "runs/s", "places", "features", "corpus", "findings"
        }
        !($1 in runs) { order[++targets] = $1 }
        {
            runs[$1] += $2; seconds[$1] += $3; findings[$1] += $7
            places[$1] = $4; features[$1] = $5; corpus[$1] = $6
        }
        END {
            for (at = 1; at <= targets; at++) {
                name = order[at]
                show(name, runs[name], seconds[name], places[name], features[name], corpus[name], findings[name])
                all_runs += runs[name]; all_seconds += seconds[name]
                all_corpus += corpus[name]; all_findings += findings[name]
            }
            show("all", all_runs, all_seconds, "", "", all_corpus, all_findings)
            exit all_findings > 0
        }' "$@"
}

# share_out RUNS ROW...: "TARGET RUNS" for each, so that all of them take as long.
share_out() {
    awk -v all="$1" '$3 && !$7 { rate[$1] = $2 / $3; sum += rate[$1] }
        END { for (target in rate) printf "%s %d\n", target, all * rate[target] / sum }' "${@:2}"
}

# campaign RUNS CORES: the first half evenly, the second for as long each, without those that ended with a
# finding.
campaign() {
    local rows=$folder/campaign
    local each=("${targets[@]/%/.row}")
    each=("${each[@]/#/$rows/}")
    rm -rf "$rows"
    mkdir -p "$rows"
    printf "%s $(($1 / 2 / ${#targets[@]}))\n" "${targets[@]}" |
        xargs -P "$2" -L 1 bash -euc 'campaign_target "$@"' campaign
    share_out "$(($1 / 2))" "${each[@]}" | xargs -P "$2" -L 1 bash -euc 'campaign_target "$@"' campaign
    campaign_table "${each[@]}" | tee "$folder/campaign.txt"
}

# explore TARGET: what the seeds and the corpus of a target reach.
explore() {
    mkdir -p "$folder/corpus/$1"
    LLVM_PROFILE_FILE=$reports/$1.profraw "$reports/bin/$1" -runs=0 \
        "$folder/seeds/$1" "$folder/corpus/$1" >"$reports/$1.log" 2>&1
    llvm-profdata-14 merge -o "$reports/$1.profdata" "$reports/$1.profraw"
    llvm-cov-14 report "$reports/bin/$1" -instr-profile "$reports/$1.profdata" >"$reports/$1.txt"
}

# reached MODULE REPORT: "LINES REACHED PERCENT" out of a report.
reached() {
    awk -v module="$1" '$1 == module { print $8, $8 - $9, $10 }' "$2"
}

# The lines of each module: reached by its own target, and by all of them.
show_coverage() {
    for target in "${targets[@]}"; do
        explore "$target"
    done
    (cd "$reports" && llvm-profdata-14 merge -o all.profdata "${targets[@]/%/.profraw}" 2>all.log)
    llvm-cov-14 report "$reports/bin/${targets[0]}" "${targets[@]/#/-object=$reports/bin/}" \
        -instr-profile "$reports/all.profdata" >"$reports/all.txt" 2>"$reports/all.log"
    printf '%-15s %-35s %5s %7s %8s %8s\n' target module lines reached "" "by all"
    while read -r target _ modules; do
        for module in $modules; do
            read -r lines own share <<<"$(reached "$module" "$reports/$target.txt")"
            read -r _ _ all <<<"$(reached "$module" "$reports/all.txt")"
            printf '%-15s %-35s %5s %7s %8s %8s\n' "$target" "$module" "$lines" "$own" "$share" "$all"
        done
    done < <(grep '^[a-z]' fuzz/targets.txt)
}

case ${1-} in
--list)
    printf '%s\n' "${targets[@]}"
    ;;
--quick)
    # What the tests have built serves for a few runs.
    prepare asan "${targets[@]/#/fuzz_}"
    programs=build/asan/bin
    export folder programs quick_runs
    export -f options run run_quickly
    printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -euc 'run_quickly {}'
    ;;
--campaign)
    [[ ${2-} =~ ^[1-9][0-9]*$ && ${3-1} =~ ^[1-9][0-9]*$ ]] || usage
    prepare fuzz
    export folder programs
    export -f options run campaign_target
    campaign "$2" "${3-1}"
    ;;
--coverage)
    prepare fuzz-coverage
    show_coverage
    ;;
*)
    if [ $# -lt 2 ] || ! printf '%s\n' "${targets[@]}" | grep -qx -- "$1"; then
        usage
    fi
    prepare fuzz
    run "$1" "$folder/corpus/$1" -max_total_time="$2" -print_final_stats=1 "${@:3}"
    ;;
esac
