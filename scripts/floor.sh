#!/usr/bin/env bash
# Builds everything and starts a floor with eight simulated switches: open the address that it tells in a
# browser. Ctrl-C ends it. What was done stays in build/floor for the next time.
. "$(dirname "$0")/lib.sh"
install_missing "${build_packages[@]}"
build release setmac setmac-tlv simboard simboard_preload setmac-station setmac-ledger setmac-floor

floor=build/floor
mkdir -p $floor
cp -r examples/floor/drill examples/products $floor
export PATH=$PWD/build/release/bin:$PATH
cd $floor/drill
export SETMAC_LEDGER=sqlite:drill.db

if [ ! -e drill.db ]; then
    setmac-ledger init
    setmac-ledger pool add mac drill --first 02:00:00:00:00:00 --last 02:00:00:0F:FF:FF --count 128 --align 128
    setmac-ledger pool add serial drill-sn --pattern 'DRIL{yy}{ww}{n:5}'
    setmac-ledger product add SW-48X6Q --mac drill --serial drill-sn
    setmac-ledger product add SW-48X6Q-TLV --mac drill --serial drill-sn
fi
say "Scan SLOT-1 and then any label, as DEMO-1; or type them, each with Enter"
exec setmac-floor serve FLOOR.toml
