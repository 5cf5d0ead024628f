#!/usr/bin/env bash
# Fetches what the emulated machine is made of, into build/kernel/packages: Debian's arm64 kernel with its headers and its source, a
# static busybox, and programs that others wrote to read the memories with. Nothing of it is installed: apt works here on lists and a
# status of its own, so that kernel, headers and source are of one version whatever this machine has.
. "$(dirname "$0")/lib.sh"

host=$(dpkg --print-architecture)
sources=/etc/apt/sources.list.d/debian.sources
[ -e "$sources" ] || sources=/etc/apt/sources.list
mkdir -p "$work"/apt/{lists/partial,cache/archives/partial} "$work/packages"
: >"$work/apt/status"
cat >"$work/apt/conf" <<END
Dir::State "$work/apt";
Dir::State::status "$work/apt/status";
Dir::Cache "$work/apt/cache";
Dir::Etc::sourcelist "$sources";
Dir::Etc::sourceparts "/dev/null";
APT::Architecture "arm64";
APT::Architectures { "arm64"; "$host"; };
APT::Sandbox::User "root";
Acquire::Languages "none";
END
export APT_CONFIG=$work/apt/conf

# depended PACKAGE PATTERN: the package of that pattern that PACKAGE depends on.
depended() {
    apt-cache depends "$1" | grep -o "Depends: $2" | head -n 1 | cut -d ' ' -f 2
}

apt-get update -qq
image=$(depended linux-image-arm64 'linux-image-[0-9].*-arm64')
version=$(apt-cache show "$image" | sed -n 's/^Version: //p' | head -n 1)
release=${image#linux-image-} # as 6.1.0-42-arm64
common=linux-headers-${release%-arm64}-common
kbuild=$(depended "linux-headers-$release" 'linux-kbuild-[0-9.]*')
source=$(depended linux-source 'linux-source-[0-9.]*')

if [ "$(cat "$work/version" 2>/dev/null)" != "$version" ]; then
    rm -rf "$work/packages"
    mkdir "$work/packages"
fi
# Those that are there already are not fetched again.
(cd "$work/packages" && apt-get download -qq "$image=$version" "linux-headers-$release=$version" \
    "$common=$version" "$kbuild:$host=$version" "$source=$version" "${guest_packages[@]}")
echo "$version" >"$work/version"
printf '%s=%s\n' release "$release" common "$common" kbuild "$kbuild" source "$source" >"$work/names"
