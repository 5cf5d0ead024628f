#!/usr/bin/env bash
# Checks format, includes, lint and manual pages. Wants a configured build/release for the lint.
. "$(dirname "$0")/lib.sh"
install_missing "${style_packages[@]}"

scripts/check_layers.py

mapfile -t sources < <(git ls-files '*.cpp' '*.h')
clang-format --dry-run --Werror "${sources[@]}"

mapfile -t linted < <(git ls-files 'src/*.cpp' 'sim/*.cpp' 'station/*.cpp')
# To clang the checked functions of the C library and those of the simulated board are the same twice.
run-clang-tidy -quiet -p build/release -extra-arg=-Wno-unknown-warning-option \
    -extra-arg=-U_FORTIFY_SOURCE "${linted[@]}" >build/tidy.log 2>&1 || {
    cat build/tidy.log
    exit 1
}

mapfile -t pages < <(git ls-files 'man/*.[18]')
# mandoc looks for the pages that a page refers to where it is started.
(cd man && mandoc -T lint -W style "${pages[@]#man/}")
echo "Style: ${#sources[@]} files well formed, ${#linted[@]} without findings, ${#pages[@]} manual pages"
