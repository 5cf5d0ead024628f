#!/usr/bin/env bash
# Builds everything and provisions simulated switches, as a factory would real ones: the station on
# one side of a pseudo-terminal, the unmodified switch program on the other. Ends with 0 only when
# what is stored equals the jobs.
. "$(dirname "$0")/lib.sh"
install_missing "${build_packages[@]}"
build release setmac setmac-tlv simboard simboard_preload setmac-station

bin=build/release/bin
demo=build/demo

rm -rf "$demo"
mkdir -p "$demo"

title() {
    printf '\n=== %s\n' "$*"
}

on_board() {
    "$bin/simboard" run "$demo/$1" -- "${@:2}"
}

# compare BOARD PROGRAM PREVIEW-ARGUMENT...: what the program lists against the preview of the job.
compare() {
    "$bin/setmac-station" preview "${@:3}" >"$demo/wanted.txt"
    on_board "$1" "$2" | tr -d '\r' >"$demo/stored.txt"
    grep -qx 'ProductInfo=0B0EFACE' "$demo/stored.txt" # the mark of a complete update
    diff <(sort "$demo/wanted.txt") <(grep -v '^ProductInfo=' "$demo/stored.txt" | sort)
    echo "Stored as in the job: $(wc -l <"$demo/wanted.txt") values."
}

# provision BOARD PRODUCT OPTION...: takes a switch from power-on to verified, over its console.
provision() {
    "$bin/setmac-station" provision "examples/products/$2/product.toml" --value serial=ABCDEFGHJ1234 \
        --exec "$bin/simboard console $demo/$1" "${@:3}"
}

title "A fresh simulated switch that keeps its identity in flash"
"$bin/simboard" new "$demo/flash"

title "Taking it from power-on to verified with examples/products/sw-48x6q"
flash_mac=mac=00:1A:2B:3C:4D:40
provision flash sw-48x6q --value $flash_mac

title "Its flash image, first lines"
od -A x -t x1z -N 160 "$demo/flash/mtd2.bin"

title "Comparing the stored identity with the product"
compare flash prodinfo examples/products/sw-48x6q/product.toml --value serial=ABCDEFGHJ1234 --value $flash_mac

title "Another unit's label on that switch is noticed"
status=0
provision flash sw-48x6q --value mac=00:1A:2B:3C:4D:80 --quiet --only-check || status=$?
test "$status" -eq 4

title "A fresh simulated switch that keeps its identity in the system EEPROM"
"$bin/simboard" new "$demo/eeprom" --like tlv

title "Taking it from power-on to verified with examples/products/sw-48x6q-tlv"
eeprom_mac=mac=00:1A:2B:3C:4E:80
provision eeprom sw-48x6q-tlv --value $eeprom_mac --quiet

title "What its memories hold"
"$bin/simboard" show "$demo/eeprom" | sed -n '/^EEPROM 0x56/,/CRC-32/p'

title "Comparing the stored identity with the product"
compare eeprom setmac-tlv examples/products/sw-48x6q-tlv/product.toml --value serial=ABCDEFGHJ1234 \
    --value $eeprom_mac

title "A chassis with all of its units, of which the second power supply is missing"
"$bin/simboard" new "$demo/whole" --like chassis
sed -i '/^address = 0x59/a present = false' "$demo/whole/board.toml"
provision whole chassis-8 --value mac=00:1A:2B:3C:4F:00 --value fan0=FANA000000001 --value fan1=FANA000000002 \
    --value psu0=PSUA000000001 --value psu1=PSUA000000002 --value card=CARD000000000003 --quiet

title "Single operations on a simulated chassis whose second power supply is missing"
"$bin/simboard" new "$demo/chassis" --like chassis
sed -i '/^address = 0x59/a present = false' "$demo/chassis/board.toml"

# units OPERATION JOB: programs units of the chassis and prints their table.
units() {
    printf '\n%s\n' "$1 with $2"
    "$bin/setmac-station" "$1" "$2" --quiet \
        --exec "$bin/simboard run $demo/chassis -- prov_setmac $1 $demo/chassis.log"
}

units setbackplane examples/backplane.toml
units setfansn examples/fans.toml
units setdevice examples/card.toml
status=0
units setpwrsn examples/supplies.toml | tee "$demo/supplies.txt" || status=$?
test "$status" -eq 1 # not every unit is well, and the status says so
grep -q '^1 .* written and read back$' "$demo/supplies.txt"
grep -q '^2 .* not present$' "$demo/supplies.txt"

title "What the units of the chassis hold"
"$bin/simboard" show "$demo/chassis" | sed -n '/^Backplane/,$p'
