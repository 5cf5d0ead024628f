#!/usr/bin/env bash
# Checks format, length, includes and manual pages; with --lint instead all programs with clang-tidy, which reads
# the headers of the C++ library for minutes and wants a built build/release.
. "$(dirname "$0")/lib.sh"

longest_file=500

# lint FOLDER CHECKS: what the build compiles of that folder, each file or several as one.
lint() {
    local folder=$1 checks=$2
    # To clang the checked functions of the C library and those of the simulated board are the same twice.
    run-clang-tidy -quiet -p build/release -checks="$checks" -extra-arg=-Wno-unknown-warning-option \
        -extra-arg=-U_FORTIFY_SOURCE "^$PWD/(build/release/)?$folder/" >"build/tidy-$folder.log" 2>&1 || {
        cat "build/tidy-$folder.log"
        exit 1
    }
    grep -q ^clang-tidy "build/tidy-$folder.log" # a folder of which nothing is compiled has no findings either
    echo "Lint: $(git ls-files "$folder/*.cpp" | wc -l) files of $folder without findings"
}

check_length() {
    local file lines failed=0
    while read -r file; do
        lines=$(wc -l <"$file")
        if [ "$lines" -gt $longest_file ]; then
            echo "$file has $lines lines: split what is longer than $longest_file" >&2
            failed=1
        fi
    done < <(git ls-files '*.cpp' '*.h' '*.c' '*.py' '*.sh')
    return $failed
}

check_pages() {
    local pages
    mapfile -t pages < <(git ls-files 'man/*.[18]')
    # mandoc looks for the pages that a page refers to where it is started.
    (cd man && mandoc -T lint -W style "${pages[@]#man/}")
    echo "Style: ${#pages[@]} manual pages well formed"
}

check_format() {
    local sources
    mapfile -t sources < <(git ls-files '*.cpp' '*.h')
    clang-format --dry-run --Werror "${sources[@]}"
    echo "Style: ${#sources[@]} files well formed"
}

case ${1-} in
--lint)
    install_missing "${lint_packages[@]}"
    lint src ''
    # Not the analyser: their .clang-tidy say why.
    for folder in sim station ledger floor; do
        lint $folder '-clang-analyzer-*,-bugprone-suspicious-include'
    done
    ;;
"")
    install_missing "${style_packages[@]}"
    check_format
    check_length
    scripts/check_layers.py
    check_pages
    ;;
*)
    echo "usage: scripts/check_style.sh [--lint]" >&2
    exit 2
    ;;
esac
