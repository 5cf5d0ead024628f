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

# make_board FOLDER OPTION...: whole or not at all, as the floor may end this program at any moment. A board
# without the identity that it is to have would be taken for a new one.
make_board() {
    board=$1
    shift
    test ! -d "$board" || return 0
    made=$board.made.$$
    simboard new --like "$layout" "$@" "$made" >/dev/null
    mv -T "$made" "$board"
}

case $fault in
silent) exec sleep 600 ;;
flood) exec yes "printk: the same again" ;;
swapped)
    # Serial number and address of a unit that was made elsewhere. Each slot has its own: a switch has
    # one console.
    make_board "$folder-other" --serial OTHER00000001 --mac 02:11:22:33:44:00
    console "$folder-other"
    ;;
esac
make_board "$folder"
# The third command is the one that writes.
case $fault in
reboot) console --fault reboot,command=3,received=40 "$folder" ;;
power) console --fault power_cut,programmed=20 "$folder" ;;
cable) console --fault hang_up,command=3,received=60 "$folder" ;;
noise) console --set noise=300 "$folder" ;;
*) console "$folder" ;;
esac
