# Sourced by the scripts beside it: works from the top of the tree, ends at the first failure.
# shellcheck shell=bash

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# What a bare Debian 12 lacks: to build, and the programs that the tests run over the simulated board.
build_packages=(
    g++ cmake ninja-build pkg-config
    zlib1g-dev libcli11-dev libtomlplusplus-dev libserialport-dev libgtest-dev
    mtd-utils libubootenv-tool i2c-tools python3-minimal
)
style_packages=(clang-format clang-tidy mandoc)
fuzz_packages=(clang libclang-rt-14-dev llvm-14)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

is_installed() {
    dpkg-query --show --showformat='${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed
}

# install_missing PACKAGE...: installs those that are not there yet.
install_missing() {
    local missing=() package
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    if [ ${#missing[@]} -gt 0 ]; then
        echo "Installing ${missing[*]}"
        as_root apt-get update -qq
        as_root env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
    fi
}

# build PRESET [TARGET...]: configures and builds, quietly unless it fails.
build() {
    local preset=$1
    shift
    echo "Building $preset"
    mkdir -p build
    cmake --preset "$preset" >"build/$preset.log" 2>&1 &&
        cmake --build --preset "$preset" ${1:+--target "$@"} >>"build/$preset.log" 2>&1 || {
        cat "build/$preset.log"
        exit 1
    }
}
