#!/usr/bin/env bash
# Builds the release programs and prints what they cost beside others that do the same, all measured
# in this one run. Leave the machine alone meanwhile.
. "$(dirname "$0")/../scripts/lib.sh"
install_missing "${build_packages[@]}" "${bench_packages[@]}"
install_arm64_packages
build release setmac setmac-tlv simboard_preload bench
build arm64 setmac

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
aarch64-linux-gnu-strip -o "$scratch/setmac.arm64" build/arm64/bin/setmac
build/release/bin/bench "$scratch" "$scratch/setmac.arm64"
