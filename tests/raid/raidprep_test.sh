#!/bin/bash
# Runs raidprep.sh on a made-up machine with stand-ins for the tools that touch disks, and on a loop device with the real
# ones where root may make one.  raidprep_test.sh SCRIPT
# shellcheck disable=SC2016 # the changes to a box are evaluated when it is there
# shellcheck source=tests/support/script.sh
. "${0%/*}/../support/script.sh"
script=$1
root=$work/root

# One program under all names. It notes what would change something in $work/calls, and fails when FAIL is a part of its
# command line.
stub parted <<'END'
root=$work/root
name=${0##*/}
case "$name $*" in
    *print | *no-act* | *noheadings* | blkid* | mountpoint* | udevadm* | dd* | sleep* | sync* | *mount*.look) ;;
    *) echo "$name $*" | sed "s|$root||g" >>"$work/calls" ;;
esac
[[ -z ${FAIL:-} || "$name $*" != *"$FAIL"* ]] || exit 1
appear() { touch "$root/sys/block/sdb/sdb1/partition" "$root/dev/sdb1"; }
case "$name $*" in
    parted*print)
        echo "BYT;"
        echo "/dev/sdb:900s:scsi:512:512:${TABLE:-gpt}:X:;"
        echo "1:2048s:800s:700s:xfs:$(<"$work/partname"):;" ;;
    parted*mklabel*)
        mkdir -p "$root/sys/block/sdb/sdb1/holders"
        [[ -n ${LATE:-} ]] || appear
        [[ -s $root/etc/corvane/raidprep.begun ]] || echo "the begin is not noted" >>"$work/calls"
        echo 8:17 >"$root/sys/block/sdb/sdb1/dev"
        ln -sfn ../../block/sdb/sdb1 "$root/sys/class/block/sdb1"
        echo corvane-new >"$work/partname" ;;
    parted*name*) echo "${!#}" >"$work/partname" ;;
    wipefs*noheadings*sdb1) printf '%s' "${CONTENT:-}" ;;
    wipefs*noheadings*) printf '%s' "${SIGNATURE:-}" ;;
    mount*.look) touch "${!#}/${FILE:-lost+found}" ;;
    umount*.look) rm "${!#}"/* ;;
    sleep*) echo >>"$work/sleeps"; [[ $(wc -l <"$work/sleeps") != "${LATE:-}" ]] || appear ;;
    # The first and the last 4 MiB of sdb; wrong places read nothing.
    "dd if=$root/dev/sdb bs=1M count=4 iflag=direct,skip_bytes skip=0") head -c 4194304 /dev/zero ;;
    "dd if=$root/dev/sdb bs=1M count=4 iflag=direct,skip_bytes skip=1019215872") head -c "${END:-4194304}" /dev/zero ;;
    blkid*-O*) exit "${BLKID:-2}" ;;
    blkid*UUID*) echo U-1 ;;
    blkid*TYPE*) echo xfs ;;
    mountpoint*) exit 1 ;;
esac
END
for tool in wipefs blkid mkfs.xfs mkfs.ext4 mount umount mountpoint udevadm dd sleep sync; do
    ln -s parted "$work/bin/$tool"
done

# add_disk NAME ADDRESS DRIVER
add_disk()
{
    local host=${2%%:*}
    mkdir -p "$root/sys/block/$1/holders" "$root/sys/devices/$2" "$root/sys/class/scsi_host/host$host"
    ln -sfn "../../devices/$2" "$root/sys/block/$1/device"
    ln -sfn "../../block/$1" "$root/sys/class/block/$1"
    echo 0 >"$root/sys/block/$1/ro"
    echo 1998848 >"$root/sys/block/$1/size"
    echo "naa.$1" >"$root/sys/devices/$2/wwid"
    echo "8:$host" >"$root/sys/block/$1/dev"
    echo "$3" >"$root/sys/class/scsi_host/host$host/proc_name"
    touch "$root/dev/$1"
}

# A plain disk, the system's volume, and the new data volume sdb.
make_box()
{
    rm -rf "$root" "$work/partname" "$work/sleeps"
    mkdir -p "$root"/{dev,etc,proc/self,proc/1,sys/class/block}
    add_disk sda 0:0:0:0 ahci
    add_disk sdb 16:2:1:0 megaraid_sas
    add_disk sdc 32:2:0:0 megaraid_sas
    echo '/dev/sdc / ext4 defaults 0 1' >"$root/etc/fstab"
    echo '21 1 8:32 / / rw - ext4 /dev/sdc rw' | tee "$root/proc/1/mountinfo" >"$root/proc/self/mountinfo"
    echo '/dev/sdd partition 1 0 -2' >"$root/proc/swaps"
    : >"$work/calls"
}

# run STATUS WORD [CALLS]: the script ends so, its output has that word and no other, and this was done, one line each.
run()
{
    local status=0 words
    PATH=$work/bin:$PATH RAIDPREP_ROOT=$root "$script" >"$work/out" || status=$?
    words=$(grep -Eo 'partitioning_error|format_error|mount_part_error' "$work/out" | sort -u | tr '\n' ' ') || true
    if [[ $status != "$1" || $words != "$2" ]]; then
        fail "$test: exit $status, words [$words]"
        cat "$work/out" >&2
    fi
    [[ $# -lt 3 ]] || same "$test: other calls" <(printf '%s' "$3") "$work/calls"
    : >"$work/calls"
}

partition='parted -s -a none /dev/sdb mklabel gpt mkpart corvane-new 1MiB 100%
'
format='mkfs.xfs -f -L corvane-data /dev/sdb1
'
name='parted -s /dev/sdb name 1 corvane-data
'
mount='mount -t xfs -o noatime /dev/sdb1 /mnt/data
'

test="an empty volume"
make_box
run 0 '' "$partition$format$name$mount"
printf '%s\n' '/dev/sdc / ext4 defaults 0 1' 'UUID=U-1 /mnt/data xfs noatime,nofail,x-corvane-data 0 0' |
    same "$test: fstab" - "$root/etc/fstab"

test="ready before, fstab knows it"
run 0 '' 'mount UUID=U-1
'

# Refusals: nothing may be touched. Each is a change to a box that would do.
refused()
{
    test=$1
    make_box
    eval "$2"
    run 1 '' ''
    SIGNATURE='' BLKID='' FAIL='' TABLE='' CONTENT='' FILE='' END='' LATE=''
}
export SIGNATURE BLKID FAIL TABLE CONTENT FILE END LATE
foreign_partition='"$work/bin/parted" mklabel; : >"$work/calls"'
refused "a signature" 'SIGNATURE=xfs'
refused "an old file system where the partition would begin" 'BLKID=0'
refused "a probe that fails" 'BLKID=4'
refused "signatures that cannot be read" 'FAIL=noheadings'
refused "a start that cannot be read" 'FAIL=skip=0'
refused "an end that can be read in part" 'END=4193792'
refused "a use that no list shows" 'FAIL="--all --no-act"'
refused "an empty table" 'SIGNATURE=gpt'
refused "an empty table, begun on another volume" \
    'SIGNATURE=gpt; mkdir "$root/etc/corvane"; echo naa.sde >"$root/etc/corvane/raidprep.begun"'
refused "a file system where a table was begun" \
    'SIGNATURE=xfs; mkdir "$root/etc/corvane"; echo naa.sdb >"$root/etc/corvane/raidprep.begun"'
only_sdb='echo 1 >"$root/sys/block/sdc/ro"' # which would be a second unused volume without the lists
refused "no list of the first process's mounts" "$only_sdb; rm \"\$root/proc/1/mountinfo\""
refused "no list of the mounts" "$only_sdb; rm \"\$root/proc/self/mountinfo\""
refused "a list of swap space that cannot be read" 'rm "$root/proc/swaps"; mkdir "$root/proc/swaps"'
unfinished="$foreign_partition; CONTENT=xfs"
refused "an unfinished partition with files" "$unfinished; FILE=video"
refused "an unfinished partition that cannot be mounted" "$unfinished; FAIL=.look"
refused "an unfinished partition that is something else" "$unfinished; CONTENT=LVM2_member"
refused "an unfinished partition with two contents" "$unfinished; CONTENT=xfs\$'\\n'crypto_LUKS"
refused "an unfinished partition that cannot be read" "$unfinished; FAIL=skip=0"
refused "an unfinished partition in use" "$unfinished; FAIL=no-act"
refused "a foreign partition" "$foreign_partition; echo other >\"\$work/partname\""
refused "a table of another kind" "$foreign_partition; TABLE=msdos"
refused "a second partition" "$foreign_partition; cp -r \"\$root\"/sys/block/sdb/sdb{1,2}; cp -P \"\$root\"/sys/class/block/sdb{1,2}"
refused "a partition mounted under another name" "$foreign_partition; echo '30 21 8:17 / /v rw - xfs /dev/root rw' >>\"\$root/proc/self/mountinfo\""
refused "mounted where only the first process sees it" 'echo "30 21 0:44 / /v rw shared:1 - btrfs /dev/sdb rw" >>"$root/proc/1/mountinfo"'
refused "something built on it" 'mkdir "$root/sys/block/sdb/holders/dm-0"'
refused "swap space" 'echo "/dev/sdb partition 1 0 -3" >>"$root/proc/swaps"'
refused "read-only" 'echo 1 >"$root/sys/block/sdb/ro"'
refused "a single drive behind the controller" 'add_disk sdb 16:0:1:0 megaraid_sas'
refused "another driver" 'add_disk sdb 16:2:1:0 ahci'
refused "two unused volumes" 'add_disk sde 48:0:1:0 aacraid'

# What counts as a volume here has to be one for sysinfo.sh, or the plug-in would not see that it is mounted.
for driver in megaraid_sas aacraid smartpqi mpt3sas ahci; do
    for channel in 0 1 2 3; do
        test="$driver, channel $channel"
        make_box
        add_disk sdb "16:$channel:1:0" "$driver"
        disk='"name":"sdb","path":"/dev/sdb","type":"disk","hctl":"16:'$channel':1:0","mountpoint":"/mnt/data"'
        stub lsblk <<<"echo '{\"blockdevices\":[{$disk}]}'"
        known=$(SYSINFO_ROOT=$root SYSINFO_LSBLK=$work/bin/lsblk SYSINFO_FINDMNT=false "${script%/*}/sysinfo.sh" |
            grep -c ^raid-volume=) || true
        run "$((known == 0))" ''
    done
done

# Each stage fails, and the next run takes it up.
test="partitioning fails"
make_box
FAIL=mklabel run 1 'partitioning_error ' "${partition}wipefs -q -a /dev/sdb
"
test="formatting fails"
FAIL=mkfs run 1 'format_error ' "$partition$format"
test="naming fails"
export CONTENT=ext4
FAIL='name 1' run 1 'format_error ' "$format$name"
CONTENT=''
test="mounting fails"
FAIL='mount -t' run 1 'mount_part_error ' "$format$name$mount"
[[ $(find "$root/etc" -type f) == "$root/etc/fstab" && $(wc -l <"$root/etc/fstab") == 1 ]] || fail "$test: fstab was changed"
test="the last stage"
run 0 '' "$mount"

test="cut off between the table and the partition"
make_box
mkdir "$root/etc/corvane"
echo naa.sdb >"$root/etc/corvane/raidprep.begun"
rm "$root/proc/swaps" # a kernel without swap space
SIGNATURE=$'gpt\ngpt\nPMBR' run 0 '' "$partition$format$name$mount"
[[ ! -e $root/etc/corvane/raidprep.begun ]] || fail "$test: the note stays"
test="the partition's device is late"
make_box
LATE=9 run 0 '' "$partition$format$name$mount"
test="the partition's device never comes"
make_box
LATE=11 run 1 'partitioning_error ' "$partition"

# The mount point.
test="settings, and a line of ours for a volume that is gone"
make_box
mkdir -p "$root/etc/corvane"
printf 'filesystem=ext4\nmountpoint=/video' >"$root/etc/corvane/raidprep"
echo 'UUID=U-0 /video xfs noatime,x-corvane-data,nofail 0 0' >>"$root/etc/fstab"
run 0 '' "${partition}mkfs.ext4 -q -F -L corvane-data -m 0 -T largefile4 /dev/sdb1
$name${mount//mnt\/data/video}"
grep -c /video "$root/etc/fstab" | grep -qx 1 || fail "$test: it stayed"
for change in 'echo "UUID=U-0 /mnt/data xfs noatime 0 0" >>"$root/etc/fstab"' 'mkdir -p "$root/mnt/data/x"'; do
    test="a mount point that is taken: $change"
    make_box
    eval "$change"
    cp "$root/etc/fstab" "$work/fstab"
    run 1 'mount_part_error ' "$partition$format$name"
    same "$test: fstab was changed" "$work/fstab" "$root/etc/fstab"
done

# The real tools on a loop device, which only has to pass for the volume sdb.
attach "$work/volume.img"
rm "$work"/bin/*
make_box
echo 819200 >"$root/sys/block/sdb/size"
ln -sf "$loop" "$root/dev/sdb"
stub parted <<END
status=0
$(command -v parted) "\$@" || status=\$?
if [[ -e ${loop}p1 ]]; then
    mkdir -p "$root/sys/block/sdb/sdb1/holders"
    touch "$root/sys/block/sdb/sdb1/partition"
    cat "/sys/class/block/${loop##*/}p1/dev" >"$root/sys/block/sdb/sdb1/dev"
    ln -sfn ../../block/sdb/sdb1 "$root/sys/class/block/sdb1"
    ln -sfn "${loop}p1" "$root/dev/sdb1"
fi
exit \$status
END
forget() { rm -rf "$root"/sys/{block/sdb/sdb1,class/block/sdb1} "$root/dev/sdb1"; }
test="loop device: mounted elsewhere, which the lists do not show"
mkdir -p "$root/mnt/data"
mkfs.ext4 -q -F "$loop"
mount "$loop" "$root/mnt/data"
dd if=/dev/zero of="$loop" bs=1M count=4 conv=fsync status=none
run 1 ''
grep -q 'is in use' "$work/out" || fail "$test: not noticed"
umount "$root/mnt/data"
test="loop device: empty"
run 0 ''
[[ $(findmnt -no FSTYPE "$root/mnt/data") == xfs ]] || fail "$test: not mounted"
echo "a recording" >"$root/mnt/data/recording"
umount "$root/mnt/data"
test="loop device: first name, but files"
"$work/bin/parted" -s "$loop" name 1 corvane-new
run 1 ''
mount "$loop"p1 "$root/mnt/data"
[[ $(<"$root/mnt/data/recording") == "a recording" ]] || fail "$test: lost"
rm "$root/mnt/data/recording"
umount "$root/mnt/data"
sed -i '$d' "$root/etc/fstab"
test="loop device: first name, no files"
run 0 ''
umount "$root/mnt/data"
test="loop device: a file system that mkfs.xfs has not finished"
if command -v xfs_db >/dev/null; then
    "$work/bin/parted" -s "$loop" name 1 corvane-new
    xfs_db -x -c 'sb 0' -c 'write inprogress 1' "$loop"p1 >/dev/null
    [[ $(wipefs --noheadings --output TYPE "$loop"p1) == xfs ]] || fail "$test: is none"
    sed -i '$d' "$root/etc/fstab"
    run 0 ''
    umount "$root/mnt/data"
fi
test="loop device: an empty table, ours or not"
sed -i '$d' "$root/etc/fstab"
"$work/bin/parted" -s "$loop" rm 1
forget
dd if=/dev/zero of="$loop" bs=1M seek=1 count=8 conv=fsync status=none
run 1 ''
mkdir -p "$root/etc/corvane"
echo naa.sdb >"$root/etc/corvane/raidprep.begun"
run 0 ''
umount "$root/mnt/data"
test="loop device: cannot be read, so no signature is seen"
wipefs -q -a "$loop"p1 "$loop"
"$(command -v partx)" -d "$loop" 2>/dev/null || true
forget
for size in 0 200M; do
    truncate -s "$size" "$work/volume.img"
    [[ -z $(wipefs "$loop") ]] || fail "$test: it is seen"
    run 1 ''
    grep -q 'is not empty' "$work/out" || fail "$test: another reason"
done
echo "the real tools were tried on $loop"
finish
