# Sourced by the scripts beside it. Everything that is fetched or made goes to build/kernel, but for the builds of the project itself.
# shellcheck shell=bash

. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"
here=tests/kernel
work=$PWD/build/kernel
mkdir -p "$work"

# Packages for the emulated machine itself: a shell, and programs with the libraries that they need.
guest_packages=(busybox-static mtd-utils i2c-tools libubootenv-tool libubootenv0.1 zlib1g libc6)

cross=aarch64-linux-gnu-
