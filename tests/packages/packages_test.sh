#!/usr/bin/env bash
# packages_test.sh ARCHITECTURE: installs what scripts/package.sh has made on a scratch root, provisions
# simulated switches with it, removes it, and does the same with the archive in a folder of its own.
# Programs of another architecture must run on this machine.
. "$(dirname "$0")/../../scripts/lib.sh"
architecture=$1
tools=$(mktemp -d)
root=$tools/root
trap 'rm -rf "$tools"' EXIT

fail() {
    echo "packages for $architecture: $*" >&2
    exit 1
}

expect() { # WHAT WANTED GOT
    [ "$2" = "$3" ] || fail "$1: wanted \"$2\", got \"$3\""
}

dpkg_on_root() {
    dpkg --root="$root" --log=/dev/null --force-not-root --force-script-chrootless --force-bad-path --force-architecture \
        --force-depends "$@" >"$tools/dpkg.log" 2>&1 || {
        cat "$tools/dpkg.log" >&2
        fail "dpkg $*"
    }
}

# What is on the root beside dpkg's own files.
files_on_root() {
    (cd "$root" && find . -path ./var/lib/dpkg -prune -o -print | LC_ALL=C sort)
}

# check_dependencies PACKAGE: it depends on the package of each library that its programs need.
check_dependencies() {
    local file library owner depends folder=x86_64-linux-gnu
    [ "$architecture" != arm64 ] || folder=aarch64-linux-gnu
    depends=$(dpkg-query --admindir="$root/var/lib/dpkg" --show --showformat='${Depends}' "$1")
    while read -r file; do
        for library in $(readelf -dW "$root$file" 2>/dev/null | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); do
            case $library in libdev_drv.so | libsetmac_fallback.so) continue ;; esac
            owner=$(dpkg --search "*/$folder/$library" | sed -n '1s/:.*//p')
            [[ ", $depends" == *", $owner ("* ]] || fail "$file of $1 needs $library of \"$owner\""
        done
    done < <(dpkg-query --admindir="$root/var/lib/dpkg" --listfiles "$1")
}

# expect_stored PROGRAM LINE...: what the program lists on the board in $tools/board has these lines.
expect_stored() {
    "$simboard" run "$tools/board" -- "$1" | tr -d '\r' >"$tools/stored.txt"
    local line
    for line in "${@:2}"; do
        grep -qxF "$line" "$tools/stored.txt" || fail "$1 does not list \"$line\""
    done
}

# check_programs FOLDER: those of both flavours in it, on new boards, with the station and the boards that
# are installed on the root.
check_programs() {
    local station=$root/usr/bin/setmac-station jobs=$root/usr/share/doc/setmac-station/examples
    rm -rf "$tools/board"
    "$simboard" new "$tools/board" >/dev/null
    "$simboard" run "$tools/board" -- "$1/bin/setsn" ABCDEFGHJ9999 >"$tools/outcome.txt"
    expect_stored "$1/bin/prodinfo" SerialNO=ABCDEFGHJ9999
    "$station" setmac "$jobs/switch.toml" --quiet \
        --exec "$simboard run $tools/board -- $1/bin/prov_setmac setmac" >"$tools/outcome.txt"
    expect_stored "$1/bin/prodinfo" ethaddr=00:1A:2B:3C:4D:5E SerialNO=ABCDEFGHJ1234 ProductModel=SW-48X6Q

    rm -rf "$tools/board"
    "$simboard" new "$tools/board" --like tlv >/dev/null
    "$station" setmac --tlv "$jobs/eeprom.toml" --quiet \
        --exec "$simboard run $tools/board -- $1/libexec/setmac/tlv/prov_setmac setmac" >"$tools/outcome.txt"
    expect_stored "$1/bin/setmac-tlv" ethaddr=00:1A:2B:3C:4D:5E SerialNO=ABCDEFGHJ1234
}

# check_ledger PROGRAM: it gives the same label the same identity.
check_ledger() {
    expect "version of setmac-ledger" "setmac-ledger $version" "$("$1" --version)"
    export SETMAC_LEDGER=sqlite:$tools/line.db
    "$1" init >/dev/null
    "$1" pool add serial numbers --pattern 'ABC{n:5}'
    "$1" product add SW --serial numbers
    expect "first identity" "$("$1" reserve L1 --product SW --json)" "$("$1" reserve L1 --product SW --json)"
    "$1" check >/dev/null || fail "the ledger does not fit together"
}

names=(setmac setmac-station setmac-simboard)
[ "$architecture" = arm64 ] || names+=(setmac-ledger setmac-floor) # which are for PCs
packages=()
for package in "${names[@]}"; do
    packages+=(build/packages/"$package"_*_"$architecture".deb)
done
[ -e "${packages[0]}" ] || fail "there are none: run scripts/package.sh $architecture first"
[ "$architecture" = "$(dpkg --print-architecture)" ] || register_arm64_emulator

echo "Checking the packages for $architecture"
lintian --fail-on error --allow-root "${packages[@]}"

mkdir -p "$root"/var/lib/dpkg/{info,updates,triggers}
touch "$root/var/lib/dpkg/status"
before=$(files_on_root)
dpkg_on_root --install "${packages[@]}"
simboard=$root/usr/bin/simboard
for package in "${names[@]}"; do
    check_dependencies $package
done

version=$(dpkg-query --admindir="$root/var/lib/dpkg" --show --showformat='${Version}' setmac)
expect "version of simboard" "simboard $version" "$("$simboard" --version)"
expect "version of setmac-station" "setmac-station $version" "$("$root/usr/bin/setmac-station" --version)"

# The maker's libraries are not in the package; without them nothing starts.
"$root/usr/bin/setsn" >"$tools/alone.txt" 2>&1 && fail "setsn starts without the maker's libraries"
grep -q 'libdev_drv.so: cannot open shared object file' "$tools/alone.txt" || fail "$(cat "$tools/alone.txt")"

for program in "$root"/usr/bin/*; do
    page=$(echo "$root"/usr/share/man/man[18]/"${program##*/}".[18].gz)
    zcat "$page" | grep -q '^\.Nm '"${program##*/}" || fail "no manual page of ${program##*/}"
done
check_programs "$root/usr"
if [ "$architecture" != arm64 ]; then
    check_ledger "$root/usr/bin/setmac-ledger"
    expect "version of setmac-floor" "setmac-floor $version" "$("$root/usr/bin/setmac-floor" --version)"
fi

archive=$(realpath build/packages/setmac-*-linux-"$architecture".tar.gz)
mkdir "$tools/elsewhere"
tar --extract --file "$archive" --directory "$tools/elsewhere"
unpacked=$(echo "$tools"/elsewhere/*)
expect "folder of the archive" "setmac-$version-linux-$architecture" "${unpacked##*/}"
check_programs "$unpacked"
# Libraries in its lib are found from any folder, without a variable.
mkdir "$unpacked/lib"
cp "$root"/usr/lib/setmac-simboard/lib{dev_drv,setmac_fallback}.so "$unpacked/lib"
mv "$unpacked" "$tools/moved"
env LD_PRELOAD="$root/usr/lib/setmac-simboard/libsimboard.so" SIMBOARD_DIR="$tools/board" \
    "$tools/moved/bin/setmac-tlv" >"$tools/stored.txt"
grep -q SerialNO=ABCDEFGHJ1234 "$tools/stored.txt" || fail "the archive's lib is not searched"

dpkg_on_root --purge "${names[@]}"
expect "what is left after the removal" "$before" "$(files_on_root)"
echo "Packages for $architecture: installed, run and removed; archive unpacked and run"
