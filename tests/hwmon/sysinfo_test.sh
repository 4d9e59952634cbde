#!/bin/bash
# Runs sysinfo.sh on a made-up machine.  sysinfo_test.sh SCRIPT DATA-DIRECTORY
# shellcheck source=tests/support/script.sh
. "${0%/*}/../support/script.sh"
script=$1
data=$2

# Reads 4 MiB of a drive at its start or its end, unless a file NAME-PLACE tells how many bytes can be read
# there. Wrong places read nothing. The other reads are real ones.
real_dd=$(command -v dd)
stub dd <<END
place=
case "\$*" in
*direct*skip=0) place=start ;;
*direct*skip=\$((1953525168 * 512 - 4194304))) place=end ;;
*direct*) exit 1 ;;
*) exec $real_dd "\$@" ;;
esac
name=\${1##*/}
head -c "\$(cat "$work/\$name-\$place" 2>/dev/null || echo 4194304)" /dev/zero
END

run()
{
    PATH=$work/bin:$PATH SYSINFO_ROOT=$work/root SYSINFO_LSBLK=$work/bin/lsblk SYSINFO_FINDMNT=$work/bin/findmnt "$script"
}

make_box()
{
    local root=$work/root
    mkdir -p "$root"/{sys/class/dmi/id,sys/class/scsi_host/host{0,6,7,8},proc,etc/corvane,run/udev/data,dev/disk/by-slot,sys/block/sdl/device}
    echo 'Example Boards Inc.' >"$root/sys/class/dmi/id/board_vendor"
    echo 'EX-B550 rev=2  ' >"$root/sys/class/dmi/id/board_name"
    echo 'Example Firmware' >"$root/sys/class/dmi/id/bios_vendor"
    printf '1.07' >"$root/sys/class/dmi/id/bios_version" # no line feed
    echo ahci >"$root/sys/class/scsi_host/host0/proc_name"
    echo megaraid_sas >"$root/sys/class/scsi_host/host6/proc_name"
    echo aacraid >"$root/sys/class/scsi_host/host7/proc_name"
    echo smartpqi >"$root/sys/class/scsi_host/host8/proc_name"
    printf 'NAME="Example"\nPRETTY_NAME="Example Linux 12 "stable""\nID=example\n' >"$root/etc/os-release"
    printf 'MemTotal:       16267340 kB\nMemFree: 1 kB\nSwapTotal:       7812500 kB\n' >"$root/proc/meminfo"
    # Two sockets, the first with two threads.
    local socket
    for socket in 0 0 1; do
        printf 'processor\t: 0\nmodel name\t: Example   CPU 8-Core @ 3.%s0GHz\nphysical id\t: %s\n\n' \
            "$socket" "$socket" >>"$root/proc/cpuinfo"
    done
    printf 'version=7.4.1\nbranchname=release/26=a\njobnumber="1042"\n' >"$root/etc/corvane/deploykey"
    printf "oldversion=1\nversion='26.1'\r\n" >"$root/etc/corvane/baseimage"
    ln -s /dev/sdb "$root/dev/disk/by-slot/08"
    ln -s /dev/sdc "$root/dev/disk/by-slot/3"
    ln -s /dev/sdd "$root/dev/disk/by-slot/front"
    printf '\0\200\0\014  PAGE 0012  \0' >"$root/sys/block/sdl/device/vpd_pg80"
    local number
    for number in 8:0 8:16 8:32 8:48 8:64 8:80 8:144 8:160 8:176 8:208 8:224 8:240 65:0 259:1 259:2; do # none for sdh
        touch "$root/run/udev/data/b$number"
    done
    local name
    sed -n 's/^ *"name": "\(.*\)",/\1/p' "$data/lsblk.json" | while read -r name; do
        mkdir -p "$root/sys/class/block/$name"
        echo 1953525168 >"$root/sys/class/block/$name/size"
    done
}

make_box
stub lsblk <<<"cat '$data/lsblk.json'"
stub findmnt <<<"cat '$data/findmnt.json'"
run >"$work/out"
same "a machine with all there is" "$data/sysinfo-full.txt" "$work/out"

# A drive that cannot be read shows no signature, but is not known to be empty.
needing() { grep -E '^drive-(name|needs-prep=1)' | grep -B1 prep | sed -n 's/drive-name=//p'; }
needing <"$work/out" | grep -vxE 'sdc|sdn|sdo' >"$work/expected"
echo 0 >"$work/sdn-start"
echo 4193792 >"$work/sdo-end"
rm "$work/root/sys/class/block/sdc/size"
run | needing >"$work/picked"
same "drives that cannot be read" "$work/expected" "$work/picked"

# Without bays drives are numbered by address, and the drive on a removable port counts as removable. Without findmnt the
# mounts come from lsblk.
rm -r "$work/root"/{dev,sys/class/dmi,etc,proc}
stub findmnt <<<"exit 1"
run >"$work/out"
grep -E '^(drive-index|drive-name|drive-removable=1|drive-fspath|raid-)' "$work/out" | sed -n '1,8p;/raid/p' >"$work/picked"
cat >"$work/expected" <<'END'
drive-index=0
drive-name=sda
drive-fspath=/
drive-index=1
drive-name=sdb
drive-removable=1
drive-fspath=/mnt/a b"c\=1
drive-index=2
raid-volume=/c0/v3
raid-fspath=/data/one
raid-volume=/c0/v128
raid-fspath=/data/three
raid-volume=2
raid-fspath=/data/four
raid-volume=5
raid-fspath=/data/five
END
same "a machine without bays" "$work/expected" "$work/picked"
[[ $(head -n 1 "$work/out") == drive-index=0 ]] || fail "unknown values were printed"

# Half a list must not pass for the whole.
for lines in 0 1 100; do
    head -n "$lines" "$data/lsblk.json" >"$work/cut.json"
    stub lsblk <<<"cat '$work/cut.json'"
    ! run >"$work/out" || fail "lsblk output cut after $lines lines was taken"
done
stub lsblk <<<"exit 1"
! run >"$work/out" || fail "a failing lsblk went unnoticed"
finish
