#!/bin/bash
# Runs driveprep.sh on a made-up drive, and on a loop device with the real tools where root may make one.
# driveprep_test.sh SCRIPT
# shellcheck source=tests/support/script.sh
. "${0%/*}/../support/script.sh"
script=$1

# run NAME SERIAL RESULT: the script's exit status and words, joined by blanks.
run()
{
    local status=0 words
    words=$(DRIVEPREP_ROOT=$work PATH=$work/bin:$PATH "$script" prep "$2" 2>"$work/errors" | tr '\n' ' '; exit "${PIPESTATUS[0]}") ||
        status=$?
    words="$status $words"
    expect "$1" "$3" "${words% }"
}

# A machine with the drives sdx (serial NEW1) and sdy (serial TWIN), described by files: what is on it, how the commands
# end (a file "fails-COMMAND"), and what was called.
new_machine()
{
    rm -rf "${work:?}"/{bin,dev,etc,run,mnt,state}
    mkdir -p "$work"/{bin,dev/disk/by-slot,etc/corvane,run,mnt,state}
    touch "$work"/dev/sd{x,y,z}
    printf 'UUID=1 / ext4 defaults 0 1\nUUID=2 %s/mnt/data1 xfs defaults 0 0\n' "$work" >"$work/etc/fstab"
    echo "mountbase=$work/mnt/data" >"$work/etc/corvane/driveprep"
    export STATE=$work/state DEV=$work/dev
    printf 'disk\n' >"$STATE/types"
    touch "$STATE"/{uses,parts,label,signatures,filesystem,calls}
    stub lsblk <<'END'
case "$*" in
"-dnpro NAME") printf '%s\n' "$DEV"/sd{x,y,z} ;;
"-dno SERIAL $DEV/sdx") cat "$STATE/serial" 2>/dev/null || echo "  NEW1 " ;;
"-dno SERIAL "*) echo TWIN ;;
"-dno TYPE "*) head -n 1 "$STATE/types" ;;
"-dno RM "*) cat "$STATE/removable" 2>/dev/null || echo 0 ;;
"-dno RO "*) cat "$STATE/readonly" 2>/dev/null || echo 0 ;;
"-dno TRAN "*) cat "$STATE/transport" 2>/dev/null || echo sata ;;
"-bdno SIZE "*) cat "$STATE/size" 2>/dev/null || echo 8001563222016 ;;
"-nro TYPE "*) cat "$STATE/types" ;;
"-nro MOUNTPOINTS "*) cat "$STATE/uses" ;;
"-npro NAME,TYPE "*) echo "$DEV/sdx disk"; sed 's/$/ part/' "$STATE/parts" ;;
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
[[ $* == *--no-act* ]] && exit "$([[ ! -e $STATE/fails-alone ]]; echo $?)"
if [[ $1 == --noheadings ]]; then
    [[ ! -e $STATE/fails-wipefs ]] || exit 1
    [[ ${*: -1} == "$DEV/sdx" ]] && exec cat "$STATE/signatures"
    exec cat "$STATE/filesystem"
fi
echo "wipefs ${*: -1}" >>"$STATE/calls"
[[ ${*: -1} == "$DEV/sdx" ]] && : >"$STATE/parts" && : >"$STATE/label" && : >"$STATE/signatures"
: >"$STATE/filesystem"
END
    # Reads 4 MiB of the drive, unless it fails at this place. Wrong places read nothing.
    stub dd <<'END'
case "$*" in
"if=$DEV/sdx bs=1M count=4 iflag=direct,skip_bytes skip=0") place=start ;;
"if=$DEV/sdx bs=1M count=4 iflag=direct,skip_bytes skip=8001559027712") place=end ;;
*) exit 1 ;;
esac
head -c "$(cat "$STATE/reads-$place" 2>/dev/null || echo 4194304)" /dev/zero
END
    stub parted <<'END'
echo "partition table" # words of its own, which must not be taken for a stage
echo "parted $*" >>"$STATE/calls"
case "$*" in
*mklabel*)
    [[ -e $STATE/fails-partition ]] && exit 1
    echo "$STATE/sdx1" >"$STATE/parts"
    [[ -e $STATE/no-device ]] || touch "$STATE/sdx1"
    echo gpt | tee "$STATE/label" >"$STATE/signatures"
    cat "$STATE/other-name" >"$STATE/name" 2>/dev/null || echo corvane-new >"$STATE/name"
    [[ ! -e $STATE/exchange-partition ]] || echo OTHER >"$STATE/serial"
    ;;
*) [[ ! -e $STATE/fails-name ]] && echo corvane-data >"$STATE/name" ;;
esac
END
    for type in xfs ext4; do
        stub "mkfs.$type" <<END
echo "mount options"
echo "mkfs.$type" >>"\$STATE/calls"
[[ ! -e \$STATE/exchange-format ]] || echo OTHER >"\$STATE/serial"
[[ ! -e \$STATE/fails-format ]] && echo $type >"\$STATE/filesystem"
END
    done
    stub mount <<'END'
if [[ $* == *ro,* ]]; then # a look
    [[ ! -e $STATE/fails-look ]] && touch $(sed "s|^|${*: -1}/|" "$STATE/files" 2>/dev/null) /dev/null
    exit
fi
echo "mount $*" >>"$STATE/calls"
[[ ! -e $STATE/fails-mount ]]
END
    stub umount <<'END'
rm -f "$1"/*
END
    stub sleep <<'END'
echo sleep >>"$STATE/sleeps"
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

# refused NAME [SERIAL]: with status 3 and without a word or a change.
refused()
{
    run "$1" "${2:-NEW1}" 3
    expect "$1: calls" "" "$(calls)"
    [[ -s $work/errors ]] || fail "$1: no reason given"
}

new_machine
run "new drive" NEW1 "0 partition format mount"
expect "new drive: calls" \
    "parted -s -a optimal -- /dev/sdx mklabel gpt mkpart corvane-new 1MiB 100%;mkfs.xfs;parted -s -- /dev/sdx name 1 corvane-data;mount -t xfs -o defaults,noatime UUID=77-88 /mnt/data2;" \
    "$(calls)"
expect "new drive: fstab" "UUID=77-88 $work/mnt/data2 xfs defaults,noatime,nofail 0 0" "$(tail -n 1 "$work/etc/fstab")"
expect "new drive: lines of fstab" 3 "$(wc -l <"$work/etc/fstab")"
[[ ! -e $STATE/unexpected ]] || fail "$(cat "$STATE/unexpected")"
run "second run" NEW1 "0 mount" # its entry is used again
expect "second run: lines of fstab" 3 "$(wc -l <"$work/etc/fstab")"
: >"$STATE/calls"
printf '\n%s\n' "$work/mnt/data2" >"$STATE/uses"
run "mounted by its entry" NEW1 0
expect "mounted by its entry: calls" "" "$(calls)"
printf '\n%s\n' "$work/mnt/data2\\x0a/elsewhere" >"$STATE/uses"
refused "mounted elsewhere too"
echo corvane-new >"$STATE/name"
printf '\n%s\n' "$work/mnt/data2" >"$STATE/uses"
refused "unfinished, mounted by an entry"

new_machine
echo filesystem=ext4 >>"$work/etc/corvane/driveprep"
rm "$work/etc/fstab"
run "ext4" NEW1 "0 partition format mount"
expect "ext4: fstab" "UUID=77-88 $work/mnt/data1 ext4 defaults,noatime,nofail 0 2" "$(cat "$work/etc/fstab")"

# A stage that fails; the last word tells which, and the drive is empty again until it has data.
while read -r name words_then left again; do
    new_machine
    cp "$work/etc/fstab" "$work/fstab"
    touch "$STATE/fails-$name"
    run "$name fails" NEW1 "1 ${words_then//,/ }"
    expect "$name fails: partitions left" "$left" "$(wc -l <"$STATE/parts")"
    same "$name fails: fstab is changed" "$work/fstab" "$work/etc/fstab"
    expect "$name fails: directories left" "" "$(ls "$work/mnt")"
    rm "$STATE/fails-$name"
    run "$name failed once" NEW1 "0 ${again//,/ }"
done <<'END'
partition partition 0 partition,format,mount
format partition,format 0 partition,format,mount
name partition,format 0 partition,format,mount
mount partition,format,mount 1 mount
END

# What somebody else has made of the drive meanwhile is left alone, by the cleaning up too.
while read -r name file content words_then calls_then; do
    new_machine
    echo "$content" >"$STATE/$file"
    run "$name" NEW1 "1 ${words_then//,/ }"
    expect "$name: calls" "$calls_then" "$(calls | sed 's/parted -s -a[^;]*/parted/')"
done <<'END'
exchanged-after-the-partition exchange-partition - partition,format parted;
exchanged-after-the-format exchange-format - partition,format parted;mkfs.xfs;
partition-of-another other-name system partition,format parted;
END
for change in "serial OTHER" "name corvane-data"; do
    new_machine
    stub mkfs.xfs <<END
echo "${change#* }" >"\$STATE/${change% *}"
exit 1
END
    run "format fails, $change meanwhile" NEW1 "1 partition format"
    expect "format fails, $change meanwhile: calls" "parted;" "$(calls | sed 's/parted -s -a[^;]*/parted/')"
done
new_machine
touch "$STATE/no-device"
run "no device for the partition" NEW1 "1 partition"
expect "no device for the partition: partitions left" 0 "$(wc -l <"$STATE/parts")"
expect "no device for the partition: tries" 100 "$(wc -l <"$STATE/sleeps")"

# A drive in a bay is none that can be pulled out.
for property in "removable 1" "transport usb"; do
    new_machine
    echo "${property#* }" >"$STATE/${property% *}"
    ln -s "$DEV/sdx" "$DEV/disk/by-slot/front"
    ln -s "$DEV/sdy" "$DEV/disk/by-slot/1"
    refused "$property in no bay"
    ln -s "$DEV/sdx" "$DEV/disk/by-slot/02"
    run "$property in a bay" NEW1 "0 partition format mount"
done

# Cut off before, during and after the format.
for name in "" xfs ext4; do
    new_machine
    has_data corvane-new "$name"
    [[ $name != ext4 ]] || echo lost+found >"$STATE/files"
    run "unfinished drive with [$name]" NEW1 "0 format mount"
    expect "unfinished drive with [$name]: directories left" "" "$(ls -d "$work"/run/corvane-look* 2>/dev/null)"
done

# Everything that is refused: on a drive without anything, or on one with a partition of this name and file system.
new_machine
refused "unknown serial number" NEW
refused "two drives of one serial number" TWIN
while read -r name partition file content; do
    new_machine
    [[ $partition == - ]] || has_data "${partition%,*}" "${partition#*,}"
    [[ -z $file ]] || printf '%b\n' "${content//\$DEV/$DEV}" >"$STATE/$file"
    refused "$name"
done <<'END'
mounted - uses \n/mnt/elsewhere
swap - uses [SWAP]
no-disk - types loop
array - types disk\npart\nraid1
volume - types disk\nlvm
removable - removable 1
usb - transport usb
read-only - readonly 1
no-size - size 0
system - below-root /dev/mapper/root\n$DEV/sdx3\n$DEV/sdx
wipefs-fails - fails-wipefs x
unreadable-start - reads-start 0
unreadable-end - reads-end 4193792
in-use-unseen - fails-alone x
filesystem-without-partition - signatures xfs
empty-partition-table - signatures gpt
raid-signature - signatures linux_raid_member
partition - parts /dev/sdx1
foreign-partition data,xfs
no-filesystem corvane-data,
other-filesystem corvane-data,ntfs
other-name corvane-data2,xfs
unfinished-with-files corvane-new,xfs files video
unfinished-unmountable corvane-new,xfs fails-look x
unfinished-physical-volume corvane-new,xfs filesystem LVM2_member
unfinished-encrypted corvane-new,xfs filesystem xfs\ncrypto_LUKS
unfinished-unreadable corvane-new,xfs reads-end 0
unfinished-in-use-unseen corvane-new,xfs fails-alone x
END
new_machine
has_data corvane-data xfs
echo "$STATE/sdx2" >>"$STATE/parts"
refused "two partitions"
new_machine
echo "filesystem=ntfs" >>"$work/etc/corvane/driveprep"
refused "settings"
new_machine
exec 8>"$work/run/corvane-driveprep.lock"
flock 8
refused "two at a time"
exec 8>&-
for arguments in "" prep "prep A B" "check A"; do
    status=0
    # shellcheck disable=SC2086 # words of a command line
    "$script" $arguments >"$work/out" 2>/dev/null || status=$?
    expect "arguments [$arguments]" 2 "$status"
done

# The real tools on a loop device, which only has to pass for a disk with a serial number.
attach "$work/drive.img"
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
run "loop device" LOOP1 "0 partition format mount"
expect "loop device: mounted" "xfs" "$(findmnt -no FSTYPE "$work/mnt/data2" || cat "$work/errors")"
echo "a recording" >"$work/mnt/data2/recording"
run "mounted loop device" LOOP1 0
cp "$work/etc/fstab" "$work/fstab"
sed -i '$d' "$work/etc/fstab"
run "loop device mounted without an entry" LOOP1 3
cp "$work/fstab" "$work/etc/fstab"
umount "$work/mnt/data2"
run "loop device again" LOOP1 "0 mount"
expect "loop device again: data" "a recording" "$(cat "$work/mnt/data2/recording")"
umount "$work/mnt/data2"

# Somebody stored files on a partition that has still the first name. Without them the next run formats; one that cannot
# leaves an empty drive.
parted -s "$loop" name 1 corvane-new 2>/dev/null
run "unfinished loop device with files" LOOP1 3
mount "$loop"p1 "$work/mnt/data2"
expect "unfinished loop device with files: data" "a recording" "$(cat "$work/mnt/data2/recording")"
rm "$work/mnt/data2/recording"
umount "$work/mnt/data2"
stub mkfs.xfs <<<"exit 1"
run "loop device that cannot be formatted" LOOP1 "1 format"
expect "loop device that cannot be formatted: signatures" "" "$(wipefs --noheadings --output TYPE "$loop")"
rm "$work/bin/mkfs.xfs"
run "emptied loop device" LOOP1 "0 partition format mount"
umount "$work/mnt/data3" # the entry of the file system before is still there

# What others have made is refused.
wipefs -q -a "$loop"p1 "$loop"
mkfs.ext4 -q -F "$loop"
run "loop device with a file system" LOOP1 3

# A drive whose sectors cannot be read looks empty to wipefs and blkid.
wipefs -q -a "$loop"
truncate -s 0 "$work/drive.img"
expect "unreadable loop device: wipefs sees" "" "$(wipefs --noheadings --output TYPE "$loop")"
run "unreadable loop device" LOOP1 3
truncate -s 200M "$work/drive.img"
run "loop device with an unreadable end" LOOP1 3
echo "the real tools were tried on $loop"
finish
