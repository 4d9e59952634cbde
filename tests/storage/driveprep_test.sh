#!/bin/bash
# Runs driveprep.sh on a made-up drive, and on a loop device with the real tools where root may make one.
# driveprep_test.sh SCRIPT
set -eu

script=$1
work=$(mktemp -d)
loop=
# shellcheck disable=SC2317 # called by the trap
clean()
{
    if [[ -n $loop ]]; then
        umount "$work"/mnt/data* 2>/dev/null || true
        losetup -d "$loop" || true
    fi
    rm -rf "$work"
}
trap clean EXIT
failures=0

complain()
{
    echo "FAILED: $*" >&2
    failures=$((failures + 1))
}

# expect NAME EXPECTED ACTUAL
expect()
{
    if [[ $2 != "$3" ]]; then
        complain "$1: expected [$2], found [$3]"
    fi
}

# stub NAME: a command from standard input.
stub()
{
    { echo '#!/bin/bash'; cat; } >"$work/bin/$1"
    chmod +x "$work/bin/$1"
}

# run SERIAL: the script's words joined by blanks in $words, its exit status in $status.
run()
{
    status=0
    words=$(DRIVEPREP_ROOT=$work PATH=$work/bin:$PATH "$script" prep "$1" 2>"$work/errors" | tr '\n' ' '; exit "${PIPESTATUS[0]}") ||
        status=$?
    words=${words% }
}

# A machine with the drives sdx (serial NEW1) and sdy (serial TWIN), described by files: what is on it, how the commands
# end (a file "fails-COMMAND"), and what was called.
new_machine()
{
    rm -rf "${work:?}"/{bin,etc,run,mnt,state}
    mkdir -p "$work"/{bin,etc/corvane,run,mnt,state}
    printf 'UUID=1 / ext4 defaults 0 1\nUUID=2 %s/mnt/data1 xfs defaults 0 0\n' "$work" >"$work/etc/fstab"
    echo "mountbase=$work/mnt/data" >"$work/etc/corvane/driveprep"
    export STATE=$work/state
    printf 'disk\n' >"$STATE/types"
    touch "$STATE"/{uses,parts,label,signatures,filesystem,calls}
    stub lsblk <<'END'
case "$*" in
"-dnpro NAME") printf '/dev/sdx\n/dev/sdy\n/dev/sdz\n' ;;
"-dno SERIAL /dev/sdx") echo "  NEW1 " ;;
"-dno SERIAL "*) echo TWIN ;;
"-dno TYPE "*) head -n 1 "$STATE/types" ;;
"-dno RM "*) cat "$STATE/removable" 2>/dev/null || echo 0 ;;
"-dno RO "*) cat "$STATE/readonly" 2>/dev/null || echo 0 ;;
"-dno TRAN "*) cat "$STATE/transport" 2>/dev/null || echo sata ;;
"-bdno SIZE "*) cat "$STATE/size" 2>/dev/null || echo 8001563222016 ;;
"-nro TYPE "*) cat "$STATE/types" ;;
"-nro MOUNTPOINTS "*) cat "$STATE/uses" ;;
"-npro NAME,TYPE "*) echo "/dev/sdx disk"; sed 's/$/ part/' "$STATE/parts" ;;
"-snpro NAME "*) cat "$STATE/below-root" 2>/dev/null || echo /dev/sda ;;
*) echo "lsblk $*" >>"$STATE/unexpected" ;;
esac
END
    stub findmnt <<'END'
[[ $* == *--mountpoint* ]] && exit 1
echo /dev/mapper/root
END
    stub blkid <<'END'
case "$*" in
*"-s PTTYPE"*) cat "$STATE/label" ;;
*"-s PART_ENTRY_NAME"*) cat "$STATE/name" ;;
*"-s TYPE"*) cat "$STATE/filesystem" ;;
*"-s UUID"*) echo 77-88 ;;
esac
END
    stub wipefs <<'END'
if [[ $1 == --noheadings ]]; then
    [[ ! -e $STATE/fails-read ]] && cat "$STATE/signatures"
    exit
fi
echo "wipefs ${*: -1}" >>"$STATE/calls"
[[ ${*: -1} == /dev/sdx ]] && : >"$STATE/parts" && : >"$STATE/label" && : >"$STATE/signatures"
: >"$STATE/filesystem"
END
    stub parted <<'END'
echo "partition table" # words of its own, which must not be taken for a stage
echo "parted $*" >>"$STATE/calls"
case "$*" in
*mklabel*)
    [[ -e $STATE/fails-partition ]] && exit 1
    echo "$STATE/sdx1" >"$STATE/parts"
    touch "$STATE/sdx1"
    echo gpt | tee "$STATE/label" >"$STATE/signatures"
    echo corvane-new >"$STATE/name"
    ;;
*) [[ ! -e $STATE/fails-name ]] && echo corvane-data >"$STATE/name" ;;
esac
END
    for type in xfs ext4; do
        stub "mkfs.$type" <<END
echo "mount options"
echo "mkfs.$type" >>"\$STATE/calls"
[[ ! -e \$STATE/fails-format ]] && echo $type >"\$STATE/filesystem"
END
    done
    stub mount <<'END'
echo "mount $*" >>"$STATE/calls"
[[ ! -e $STATE/fails-mount ]]
END
    stub blockdev </dev/null
    stub sync </dev/null
}

# has_data LABEL FILESYSTEM: the drive has one partition of this name.
has_data()
{
    echo "$STATE/sdx1" >"$STATE/parts"
    touch "$STATE/sdx1"
    echo gpt | tee "$STATE/label" >"$STATE/signatures"
    printf 'disk\npart\n' >"$STATE/types"
    echo "$1" >"$STATE/name"
    echo "$2" >"$STATE/filesystem"
}

calls()
{
    tr '\n' ';' <"$STATE/calls" | sed "s,$work,,g"
}

# refused NAME SERIAL: with status 3 and without a word or a change.
refused()
{
    run "$2"
    expect "$1: status" 3 "$status"
    expect "$1: words" "" "$words"
    expect "$1: calls" "" "$(calls)"
    [[ -s $work/errors ]] || complain "$1: no reason given"
}

new_machine
run NEW1
expect "new drive: status" 0 "$status"
expect "new drive: words" "partition format mount" "$words"
expect "new drive: calls" \
    "parted -s -a optimal -- /dev/sdx mklabel gpt mkpart corvane-new 1MiB 100%;mkfs.xfs;parted -s -- /dev/sdx name 1 corvane-data;mount -t xfs -o defaults,noatime UUID=77-88 /mnt/data2;" \
    "$(calls)"
expect "new drive: fstab" "UUID=77-88 $work/mnt/data2 xfs defaults,noatime,nofail 0 0" "$(tail -n 1 "$work/etc/fstab")"
expect "new drive: lines of fstab" 3 "$(wc -l <"$work/etc/fstab")"
[[ ! -e $STATE/unexpected ]] || complain "$(cat "$STATE/unexpected")"
run NEW1 # its entry is used again
expect "second run: words" mount "$words"
expect "second run: lines of fstab" 3 "$(wc -l <"$work/etc/fstab")"

new_machine
echo filesystem=ext4 >>"$work/etc/corvane/driveprep"
rm "$work/etc/fstab"
run NEW1
expect "ext4: status" 0 "$status"
expect "ext4: fstab" "UUID=77-88 $work/mnt/data1 ext4 defaults,noatime,nofail 0 2" "$(cat "$work/etc/fstab")"

# A stage that fails; the last word tells which, and the drive is empty again until it has data.
while read -r name words_then left; do
    new_machine
    cp "$work/etc/fstab" "$work/fstab"
    touch "$STATE/fails-$name"
    run NEW1
    expect "$name fails: status" 1 "$status"
    expect "$name fails: words" "${words_then//,/ }" "$words"
    expect "$name fails: partitions left" "$left" "$(wc -l <"$STATE/parts")"
    cmp -s "$work/etc/fstab" "$work/fstab" || complain "$name fails: fstab is changed"
    expect "$name fails: directories left" "" "$(ls "$work/mnt")"
    rm "$STATE/fails-$name"
    run NEW1
    expect "$name failed once: status" 0 "$status"
done <<'END'
partition partition 0
format partition,format 0
name partition,format 0
mount partition,format,mount 1
END

new_machine
has_data corvane-new xfs # cut off while it was formatted
run NEW1
expect "unfinished drive: words" "format mount" "$words"

# Everything that is refused.
new_machine
refused "unknown serial number" NEW
refused "two drives of one serial number" TWIN
while read -r name file content; do
    new_machine
    printf '%b\n' "$content" >"$STATE/$file"
    refused "$name" NEW1
done <<'END'
mounted uses \n/mnt/elsewhere
swap uses [SWAP]
no-disk types loop
array types disk\npart\nraid1
volume types disk\nlvm
removable removable 1
usb transport usb
read-only readonly 1
no-size size 0
system below-root /dev/mapper/root\n/dev/sdx3\n/dev/sdx
unreadable fails-read x
filesystem-without-partition signatures xfs
empty-partition-table signatures gpt
raid-signature signatures linux_raid_member
partition parts /dev/sdx1
END
for name in "data xfs" "corvane-data " "corvane-data ntfs" "corvane-data2 xfs"; do
    new_machine
    has_data "${name% *}" "${name#* }"
    refused "partition named $name" NEW1
done
new_machine
has_data corvane-data xfs
echo "$STATE/sdx2" >>"$STATE/parts"
refused "two partitions" NEW1
new_machine
echo "filesystem=ntfs" >>"$work/etc/corvane/driveprep"
refused "settings" NEW1
new_machine
exec 8>"$work/run/corvane-driveprep.lock"
flock 8
refused "two at a time" NEW1
exec 8>&-
for arguments in "" prep "prep A B" "check A"; do
    status=0
    # shellcheck disable=SC2086 # words of a command line
    "$script" $arguments >"$work/out" 2>/dev/null || status=$?
    expect "arguments [$arguments]" 2 "$status"
done

# The real tools on a loop device, which only has to pass for a disk with a serial number.
truncate -s 400M "$work/drive.img"
if [[ $(id -u) -ne 0 ]] || ! command -v parted mkfs.xfs >/dev/null ||
    ! loop=$(losetup --find --show --partscan "$work/drive.img" 2>/dev/null); then
    echo "without root, parted, mkfs.xfs or loop devices: the real tools were not tried"
    exit $((failures > 0))
fi
new_machine
rm "$work"/bin/*
lsblk=$(command -v lsblk)
stub lsblk <<END
case "\$*" in
"-dnpro NAME") echo "$loop" ;;
"-dno SERIAL "*) echo LOOP1 ;;
*) $lsblk "\$@" | sed 's/\bloop\$/disk/' ;;
esac
END
run LOOP1
expect "loop device: status" 0 "$status"
expect "loop device: words" "partition format mount" "$words"
[[ $status -eq 0 ]] || cat "$work/errors" >&2
expect "loop device: mounted" "xfs" "$(findmnt -no FSTYPE "$work/mnt/data2")"
echo "a recording" >"$work/mnt/data2/recording"
run LOOP1
expect "mounted loop device: status" 3 "$status"
umount "$work/mnt/data2"
run LOOP1
expect "loop device again: words" mount "$words"
expect "loop device again: data" "a recording" "$(cat "$work/mnt/data2/recording")"
umount "$work/mnt/data2"

# A power loss after the partition: the next run formats. One that cannot leaves an empty drive.
parted -s "$loop" name 1 corvane-new 2>/dev/null
stub mkfs.xfs <<'END'
exit 1
END
run LOOP1
expect "loop device that cannot be formatted: words" "format" "$words"
expect "loop device that cannot be formatted: signatures" "" "$(wipefs --noheadings --output TYPE "$loop")"
rm "$work/bin/mkfs.xfs"
run LOOP1
expect "emptied loop device: words" "partition format mount" "$words"
umount "$work/mnt/data3" # the entry of the file system before is still there

# What others have made is refused.
wipefs -q -a "$loop"p1 "$loop"
mkfs.ext4 -q -F "$loop"
run LOOP1
expect "loop device with a file system: status" 3 "$status"
echo "the real tools were tried on $loop"
exit $((failures > 0))
