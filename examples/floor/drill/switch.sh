#!/bin/sh
# switch.sh LAYOUT FOLDER [FAULT]: the console of the simulated switch in that folder, which is made
# where there is none yet.
set -eu
layout=$1
folder=$2
fault=${3-}

console() {
    exec simboard console --set boot_ms=2000 "$@"
}

case $fault in
silent) exec sleep 600 ;;
flood) exec yes "printk: the same again" ;;
swapped)
    # Serial number and address of a unit that was made elsewhere. Each slot has its own: a switch has
    # one console.
    test -d "$folder-other" ||
        simboard new --like "$layout" --serial OTHER00000001 --mac 02:11:22:33:44:00 \
            "$folder-other" >/dev/null
    console "$folder-other"
    ;;
esac
test -d "$folder" || simboard new --like "$layout" "$folder" >/dev/null
# The third command is the one that writes.
case $fault in
reboot) console --fault reboot,command=3,received=40 "$folder" ;;
power) console --fault power_cut,programmed=20 "$folder" ;;
cable) console --fault hang_up,command=3,received=60 "$folder" ;;
noise) console --set noise=300 "$folder" ;;
*) console "$folder" ;;
esac
