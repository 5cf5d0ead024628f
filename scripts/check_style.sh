#!/usr/bin/env bash
# Checks format, length, includes and manual pages; with --lint instead all programs but the floor with clang-tidy, which
# reads the headers of the C++ library for minutes and wants a configured build/release.
. "$(dirname "$0")/lib.sh"

longest_file=500

# lint PATTERN...
lint() {
    install_missing "${lint_packages[@]}"
    local files
    mapfile -t files < <(git ls-files "$@")
    # To clang the checked functions of the C library and those of the simulated board are the same twice.
    run-clang-tidy -quiet -p build/release -extra-arg=-Wno-unknown-warning-option \
        -extra-arg=-U_FORTIFY_SOURCE "${files[@]}" >build/tidy.log 2>&1 || {
        cat build/tidy.log
        exit 1
    }
    echo "Lint: ${#files[@]} files without findings"
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
    lint 'src/*.cpp' 'sim/*.cpp' 'station/*.cpp' 'ledger/*.cpp'
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
