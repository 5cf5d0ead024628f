#!/usr/bin/env bash
# Builds, of Debian's kernel source and against Debian's kernel headers, the flash drivers that Debian's arm64 kernel lacks, and the
# simulated chips of modules/; then the first file system of the emulated machine: busybox, the modules, programs that others wrote, and
# guest/init. Makes build/kernel/vmlinuz and build/kernel/initrd.gz.
. "$(dirname "$0")/lib.sh"
. "$work/names"

key=$(cat "$work/names" "$here"/{build.sh,lib.sh} "$here"/modules/* "$here"/guest/* | sha256sum)
if [ "$(cat "$work/key" 2>/dev/null)" = "$key" ]; then
    exit 0
fi

package() {
    echo "$work/packages/$1"_*.deb
}

unpack() {
    dpkg-deb --fsys-tarfile "$(package "$1")" | tar -x -C "$2" "${@:3}"
}

rm -rf "$work"/{headers,kernel,modules,programs,root}
mkdir -p "$work"/{headers,kernel,modules,programs,root}
for name in "linux-headers-$release" "$common" "$kbuild"; do
    unpack "$name" "$work/headers"
done
unpack "linux-image-$release" "$work/kernel" "./boot/vmlinuz-$release" "./lib/modules/$release"
dpkg-deb --fsys-tarfile "$(package "$source")" | tar -xO "./usr/src/$source.tar.xz" | xz -dc -T0 |
    tar -x -C "$work/modules" --strip-components=1 "$source/drivers/mtd"

# A file Kbuild goes before the Makefile beside it: each names just what is wanted.
mtd=$work/modules/drivers/mtd
mkdir "$work/modules/chips"
cp "$here"/modules/*.[ch] "$work/modules/chips"
patch -s -d "$work/modules" -p1 <"$here/modules/nandsim-kept.patch"
{
    echo 'obj-m := chips/ drivers/mtd/chips/ drivers/mtd/devices/ drivers/mtd/maps/ drivers/mtd/nand/raw/ drivers/mtd/parsers/'
    echo "subdir-ccflags-y := -I$work/modules/chips"
} >"$work/modules/Kbuild"
echo 'obj-m := i2c-eepsim.o mtd-norsim.o' >"$work/modules/chips/Kbuild"
echo 'obj-m := chipreg.o gen_probe.o cfi_probe.o cfi_util.o cfi_cmdset_0001.o' >"$mtd/chips/Kbuild"
printf 'obj-m := mtdram.o\nccflags-y := -DCONFIG_MTDRAM_TOTAL_SIZE=1024 -DCONFIG_MTDRAM_ERASE_SIZE=64\n' >"$mtd/devices/Kbuild"
printf 'obj-m := physmap.o\nphysmap-y := physmap-core.o\nccflags-y := -DCONFIG_MTD_PHYSMAP_OF=1\n' >"$mtd/maps/Kbuild"
(grep '^nand-objs' "$mtd/nand/raw/Makefile" && echo 'obj-m := nand.o nandsim.o') >"$mtd/nand/raw/Kbuild"
echo 'obj-m := cmdlinepart.o' >"$mtd/parsers/Kbuild"

headers=$work/headers/usr/src/linux-headers-$release
sed -i "s,^include .*,include $work/headers/usr/src/$common/Makefile," "$headers/Makefile"
make -s -j"$(nproc)" -C "$headers" M="$work/modules" CROSS_COMPILE="$cross" modules >"$work/modules.log" 2>&1 || {
    cat "$work/modules.log"
    exit 1
}

root=$work/root
modules=$root/lib/modules/$release
mkdir -p "$root"/{bin,dev,etc,host,lib,proc,sbin,sys,tmp,usr/bin,usr/sbin} "$modules"
find "$work/modules" -name '*.ko' -exec cp {} "$modules" \;
for name in mtd nandcore ofpart bch i2c-dev i2c-algo-bit at24 virtio_mmio netfs fscache 9pnet 9pnet_virtio 9p; do
    find "$work/kernel/lib/modules" -name "$name.ko" -exec cp {} "$modules" \;
done
"${cross}strip" -g "$modules"/*.ko
cp "$work/kernel/lib/modules/$release"/modules.{builtin,builtin.modinfo,order} "$modules"
PATH=$PATH:/sbin:/usr/sbin depmod -b "$root" "$release"

for name in "${guest_packages[@]}"; do
    unpack "$name" "$work/programs"
done
cp "$work/programs/bin/busybox" "$root/bin"
cp "$work"/programs/usr/sbin/{nanddump,mtd_debug,flash_erase,i2ctransfer} "$root/usr/sbin"
cp "$work/programs/usr/bin/fw_printenv" "$root/usr/bin"
cp -L "$work"/programs{,/usr}/lib/aarch64-linux-gnu/{ld-linux-aarch64.so.1,libc.so.6,libz.so.1,libubootenv.so.0} \
    "$root/lib" 2>/dev/null || true # each stands in one of the two folders
cp "$here/guest/init" "$root/init"

(cd "$root" && find . | LC_ALL=C sort | cpio -o -H newc --quiet -R 0:0) | gzip -1 >"$work/initrd.gz"
cp "$work/kernel/boot/vmlinuz-$release" "$work/vmlinuz"
echo "$key" >"$work/key"
