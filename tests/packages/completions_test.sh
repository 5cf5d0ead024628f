#!/usr/bin/env bash
# completions_test.sh PROGRAM_FOLDER: bash and zsh offer what the tools know, no more and no less.
set -euo pipefail
programs=$1
here=$(cd "$(dirname "$0")" && pwd)
completions=$here/../../packaging/completions
failures=0

expect() { # WHAT WANTED GOT
    if [ "$2" != "$3" ]; then
        printf '%s\n  wanted: %s\n  got:    %s\n' "$1" "$2" "$3" >&2
        failures=$((failures + 1))
    fi
}

sorted() {
    LC_ALL=C sort -u | paste -sd ' '
}

# offered_by_bash LINE: a blank at its end begins a new word.
offered_by_bash() {
    local tool=${1%% *}
    local function=_${tool//-/_}
    read -ra COMP_WORDS <<<"$1"
    [[ $1 != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    "$function"
    printf '%s\n' "${COMPREPLY[@]}" | sorted
}

offered_by_zsh() {
    local offer
    printf '%s\n' "$1" >&"$to_zsh"
    read -r offer <&"$from_zsh"
    printf '%s\n' "$offer"
}

# expect_offer LINE WANTED: of both shells.
expect_offer() {
    expect "bash: $1" "$2" "$(offered_by_bash "$1")"
    expect "zsh: $1" "$2" "$(offered_by_zsh "$1")"
}

options_of() {
    "$programs/$1" "${@:2}" --help | grep -oE -- '^ +(-h,)?--[a-z-]+' | grep -oE -- '--[a-z-]+' | sorted
}

commands_of() {
    "$programs/$1" --help | sed -n '/^Subcommands:/,$s/^  \([a-z]*\)  .*/\1/p'
}

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
for tool in setmac-station setmac-ledger setmac-floor simboard; do
    # shellcheck source=/dev/null
    . "$completions/bash/$tool"
    zsh -n "$completions/zsh/_$tool"
done
cd "$folder"
mkdir board
touch job.toml notes.txt
coproc zsh -f "$here/zsh_complete.zsh" "$completions/zsh"
# Subshells have no descriptors of a coprocess but these.
exec {to_zsh}>&"${COPROC[1]}" {from_zsh}<&"${COPROC[0]}"

# What stands here was worked out by hand, to hold the two ways of asking below to it.
expect_offer "simboard s" "show"
expect_offer "simboard new --like nand" "nand nand-mirror"
expect_offer "simboard show " "board"
expect_offer "simboard run board " "--"
expect_offer "simboard console board --l" "--link"
expect_offer "setmac-station setb" "setbackplane"
expect_offer "setmac-station setdevice --qu" "--quiet"
expect_offer "setmac-station setsn --t" "--tlv --trace"
expect_offer "setmac-station setfansn --t" "--trace"
expect_offer "setmac-station setmac --baud 1" "115200 19200"
expect_offer "setmac-station provision --la" "--label"
expect_offer "setmac-ledger re" "reconcile reserve"
expect_offer "setmac-ledger --db x pool " "add close list"
expect_offer "setmac-ledger pool add mac --f" "--first"
expect_offer "setmac-ledger export --format " "csv jsonl"
expect_offer "setmac-floor s" "serve start"
expect_offer "setmac-floor start --o" "--only-check --operator"
expect "bash: job files" "board job.toml" "$(offered_by_bash "setmac-station setmac ")"
expect "zsh: job files" "job.toml" "$(offered_by_zsh "setmac-station setmac j")"

for tool in setmac-station setmac-ledger setmac-floor simboard; do
    mapfile -t commands < <(commands_of $tool)
    [ ${#commands[@]} -ge 4 ]
    expect_offer "$tool --" "$(options_of $tool)"
    expect "bash: commands of $tool" "$(printf '%s\n' "${commands[@]}" --help --version | sorted)" \
        "$(offered_by_bash "$tool ")"
    expect "zsh: commands of $tool" "$(printf '%s\n' "${commands[@]}" | sorted)" \
        "$(offered_by_zsh "$tool ")"
    for command in "${commands[@]}"; do
        expect_offer "$tool $command --" "$(options_of "$tool" "$command")"
    done
done

layouts=$("$programs/simboard" new --help | grep -oE '\{[a-z,-]+\}' | tr -d '{}' | tr , '\n' | sorted)
expect_offer "simboard new --like " "$layouts"

# The console tells all its settings to whoever asks for an unknown one. Faults have an option of their own.
"$programs/simboard" new board >told
refusal_of() {
    "$programs/simboard" console board "$@" 2>&1 || true
}
settings=$(refusal_of --set unknown=1 | sed -n 's/.*; known are //p' |
    tr ' ' '\n' | grep -vx fault | sorted)
faults=$(refusal_of --fault unknown,sent=1 | grep -oE '"[a-z_]+"' |
    tr -d '"' | sorted)
for offer in "set $settings" "fault $faults"; do
    line="simboard console board --${offer%% *} "
    expect "bash: $line" "${offer#* }" "$(offered_by_bash "$line" | tr -d '=,')"
    expect "zsh: $line" "${offer#* }" "$(offered_by_zsh "$line")"
done
exit "$((failures > 0))"
