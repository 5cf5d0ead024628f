#!/usr/bin/env bash
# Makes the packages, in build/packages: four Debian packages for each architecture, and for switches
# without a package manager an archive of the switch programs that runs from any folder. The same sources
# give the same bytes, wherever and whenever they are built.
#   scripts/package.sh [amd64|arm64|all]    by default for this machine
#   scripts/package.sh --switch [the same]  what belongs on the switch only
. "$(dirname "$0")/lib.sh"

packages=build/packages
components="switch;station;simboard"
pc_components=";ledger;floor"
targets=("${shipped_targets[@]}")

# All times in packages are that of the version.
SOURCE_DATE_EPOCH=$(date --date="$(sed -n 's/^ -- .*>  //p' packaging/changelog.in | head -n 1)" +%s)
export SOURCE_DATE_EPOCH

# make_archive PRESET ARCHITECTURE
make_archive() {
    local version name work
    version=$(sed -n 's/^CMAKE_PROJECT_VERSION:[A-Z]*=//p' "build/$1/CMakeCache.txt")
    name=setmac-$version-linux-$2
    work=build/$1/archive
    rm -rf "$work"
    cmake --install "build/$1" --component switch --strip --prefix "$work/$name" >/dev/null
    tar --create --use-compress-program="gzip -9n" --file "$packages/$name.tar.gz" --directory "$work" \
        --sort=name --owner=root:0 --group=root:0 --mtime="@$SOURCE_DATE_EPOCH" --format=gnu "$name"
    rm -rf "$work"
}

# make_packages PRESET ARCHITECTURE [COMPONENTS TARGET...]: those, too.
make_packages() {
    build "$1" "${targets[@]}" "${@:4}"
    mkdir -p "$packages"
    cpack --config "build/$1/CPackConfig.cmake" -D CPACK_COMPONENTS_ALL="$components${3-}" \
        -B "$PWD/$packages" >"build/$1-packages.log" 2>&1 || {
        cat "build/$1-packages.log"
        exit 1
    }
    rm -rf "$packages/_CPack_Packages"
    make_archive "$1" "$2"
    ls -s --block-size=K "$packages"/*"$2".*
}

native=$(dpkg --print-architecture)
if [ "${1-}" = --switch ]; then
    components=switch
    targets=(setmac setmac-tlv)
    pc_components=
    pc_targets=()
    shift
fi
wanted=("${1:-$native}")
[ "${wanted[0]}" != all ] || wanted=("$native" arm64)

install_missing "${build_packages[@]}"
for architecture in "${wanted[@]}"; do
    if [ "$architecture" = "$native" ]; then
        make_packages release "$architecture" "$pc_components" "${pc_targets[@]}"
    elif [ "$architecture" = arm64 ]; then
        install_arm64_packages
        make_packages arm64 arm64
    else
        echo "usage: scripts/package.sh [--switch] [$native|arm64|all]" >&2
        exit 2
    fi
done
