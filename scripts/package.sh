#!/usr/bin/env bash
# Makes the packages, in build/packages: three Debian packages for each architecture, and for switches
# without a package manager an archive of the switch programs that runs from any folder.
#   scripts/package.sh [amd64|arm64|all]    by default for this machine
. "$(dirname "$0")/lib.sh"

packages=build/packages

# make_archive PRESET ARCHITECTURE
make_archive() {
    local version name work
    version=$(sed -n 's/^CMAKE_PROJECT_VERSION:[A-Z]*=//p' "build/$1/CMakeCache.txt")
    name=setmac-$version-linux-$2
    work=build/$1/archive
    rm -rf "$work"
    cmake --install "build/$1" --component switch --strip --prefix "$work/$name" >/dev/null
    tar --create --gzip --file "$packages/$name.tar.gz" --directory "$work" \
        --sort=name --owner=root:0 --group=root:0 "$name"
    rm -rf "$work"
}

# make_packages PRESET ARCHITECTURE
make_packages() {
    build "$1" "${shipped_targets[@]}"
    mkdir -p "$packages"
    cpack --config "build/$1/CPackConfig.cmake" -B "$PWD/$packages" >"build/$1-packages.log" 2>&1 || {
        cat "build/$1-packages.log"
        exit 1
    }
    rm -rf "$packages/_CPack_Packages"
    make_archive "$1" "$2"
    ls -s --block-size=K "$packages"/*"$2".*
}

native=$(dpkg --print-architecture)
wanted=("${1:-$native}")
[ "${wanted[0]}" != all ] || wanted=("$native" arm64)

install_missing "${build_packages[@]}"
for architecture in "${wanted[@]}"; do
    if [ "$architecture" = "$native" ]; then
        make_packages release "$architecture"
    elif [ "$architecture" = arm64 ]; then
        install_arm64_packages
        make_packages arm64 arm64
    else
        echo "usage: scripts/package.sh [$native|arm64|all]" >&2
        exit 2
    fi
done
