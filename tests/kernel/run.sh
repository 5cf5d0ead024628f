#!/usr/bin/env bash
# Runs the packaged arm64 programs on the kernel's own drivers, inside an emulated machine, and the same cases on the simulated board.
# Installs, fetches and builds what is missing.
#   tests/kernel/run.sh [--cuts N] [--seed S]                       all of it, with N power cuts
#   tests/kernel/run.sh cuts|kernel|board [--cases TEXT] [OPTION...]  a part of it; see run_cases.py --help
. "$(dirname "$0")/lib.sh"

install_missing "${build_packages[@]}" "${kernel_packages[@]}"
build release setmac setmac-tlv simboard simboard_preload setmac-station pty_as_port
scripts/package.sh arm64
[ -e "$work/names" ] || "$here/fetch.sh"
"$here/build.sh"

rm -rf "$work/switch"
for package in setmac setmac-simboard; do
    dpkg-deb -x build/packages/"$package"_*_arm64.deb "$work/switch"
done

parts=(board kernel cuts)
case ${1-} in
board | kernel | cuts)
    parts=("$1")
    shift
    ;;
esac

# Side by side: most of their time they wait.
echo "Running: ${parts[*]}"
running=()
for part in "${parts[@]}"; do
    "$here/run_cases.py" "$part" build "$@" >"$work/$part.log" 2>&1 &
    running+=($!)
done
failed=0
for i in "${!parts[@]}"; do
    wait "${running[i]}" || failed=1
    cat "$work/${parts[i]}.log"
done
exit $failed
