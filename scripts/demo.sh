#!/usr/bin/env bash
# Builds everything and provisions a simulated switch, as a factory would a real one: the station on
# one side of a pseudo-terminal, the unmodified switch program on the other.
. "$(dirname "$0")/lib.sh"
install_missing "${build_packages[@]}"
build release setmac setmac-tlv simboard simboard_preload setmac-station

bin=build/release/bin
demo=build/demo
job=examples/switch.toml

rm -rf "$demo"
mkdir -p "$demo"

title() {
    printf '\n=== %s\n' "$*"
}

on_board() {
    "$bin/simboard" run "$demo/board" -- "$@"
}

title "A fresh simulated switch"
"$bin/simboard" new "$demo/board"

title "Provisioning it with $job"
"$bin/setmac-station" setmac "$job" \
    --exec "$bin/simboard run $demo/board -- prov_setmac setmac $demo/trace.log"

title "What the switch has stored"
on_board prodinfo

title "The trace log, first lines"
head -n 12 "$demo/trace.log" | tr -d '\r'

title "The flash image, first lines"
"$bin/simboard" show "$demo/board" | sed -n '/^Partitions/,/^$/p'
od -A x -t x1z -N 160 "$demo/board/mtd2.bin"

title "Comparing the stored identity with the job"
"$bin/setmac-station" preview "$job" | sort >"$demo/wanted.txt"
on_board prodinfo | tr -d '\r' | grep -v '^ProductInfo=' | sort >"$demo/stored.txt"
diff "$demo/wanted.txt" "$demo/stored.txt"
on_board prodinfo | grep -q '^ProductInfo=0B0EFACE' # the mark of a complete update
echo "Stored: all $(wc -l <"$demo/wanted.txt") properties of the job."
