# Sourced by the scripts beside it: works from the top of the tree, ends at the first failure.
# shellcheck shell=bash

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# What a bare Debian 12 lacks: to build, and the programs that the tests run over the simulated board.
build_packages=(
    g++ cmake ninja-build pkg-config
    zlib1g-dev libcli11-dev libtomlplusplus-dev libserialport-dev libre2-dev libgtest-dev
    libsqlite3-dev libpq-dev nlohmann-json3-dev libssl-dev libboost1.81-dev libudev-dev
    mtd-utils libubootenv-tool i2c-tools python3-minimal zsh
)
# The server that the tests of the ledger start.
test_packages=(postgresql)
style_packages=(clang-format mandoc git)
lint_packages=(clang-tidy git)
# Of the builds under the sanitizers, and of the fuzz targets.
fuzz_packages=(clang lld libclang-rt-14-dev llvm-14)
package_packages=(lintian git)
# The programs that ours are measured against, and what counts instructions.
bench_packages=(libubootenv-tool lrzsz valgrind)
# To build for the switch's processor, and to run what was built.
arm64_packages=(
    g++-aarch64-linux-gnu qemu-user-static
    zlib1g-dev:arm64 libtomlplusplus-dev:arm64 libserialport-dev:arm64 libre2-dev:arm64 libgtest-dev:arm64
)
# The emulated machine of tests/kernel, and what builds its modules.
kernel_packages=(qemu-system-arm make libelf1 patch cpio xz-utils kmod python3)

# What an installation consists of.
shipped_targets=(
    setmac setmac-tlv setmac-station simboard simboard_preload dev_drv_standin setmac_fallback_standin
)
# What PCs have beside it.
pc_targets=(setmac-ledger setmac-floor)

# say TEXT...: what is done now, with the seconds since the script began.
say() {
    printf '%4d s  %s\n' "$SECONDS" "$*"
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# is_installed PACKAGE[:ARCHITECTURE]
is_installed() {
    local architecture
    architecture=$(dpkg --print-architecture)
    [[ $1 != *:* ]] || architecture=${1#*:}
    dpkg-query --show --showformat='${Architecture} ${db:Status-Status}\n' "${1%:*}" 2>/dev/null |
        grep -qxE "($architecture|all) installed"
}

# install_missing PACKAGE...: installs those that are not there yet.
install_missing() {
    local missing=() package
    for package in "$@"; do
        is_installed "$package" || missing+=("$package")
    done
    if [ ${#missing[@]} -gt 0 ]; then
        say "Installing ${missing[*]}"
        as_root apt-get update -qq
        as_root env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
    fi
}

install_arm64_packages() {
    if ! dpkg --print-foreign-architectures | grep -qx arm64; then
        as_root dpkg --add-architecture arm64
    fi
    install_missing "${arm64_packages[@]}"
}

runs_arm64_programs() {
    /lib/ld-linux-aarch64.so.1 --version >/dev/null 2>&1
}

# Has the kernel hand arm64 programs to the emulator. Package installation does that only where systemd
# runs; elsewhere, as in containers, it is done here.
register_arm64_emulator() {
    local table=/proc/sys/fs/binfmt_misc
    if ! runs_arm64_programs; then
        [ -e $table/register ] || as_root mount -t binfmt_misc binfmt_misc $table || true
        as_root tee $table/register </usr/lib/binfmt.d/qemu-aarch64.conf >/dev/null || true
    fi
    runs_arm64_programs || {
        echo "This machine cannot run arm64 programs: $table takes no registration of the emulator." \
            "In a container, register it on the host, or start the container privileged." >&2
        exit 1
    }
}

# build PRESET [TARGET...]: configures and builds, quietly unless it fails.
build() {
    local preset=$1
    shift
    say "Building $preset"
    mkdir -p build
    cmake --preset "$preset" >"build/$preset.log" 2>&1 &&
        cmake --build --preset "$preset" ${1:+--target "$@"} >>"build/$preset.log" 2>&1 || {
        cat "build/$preset.log"
        exit 1
    }
}
