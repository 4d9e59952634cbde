#!/bin/bash
# Runs raidprep.sh on a made-up machine with stand-ins for the tools that touch disks.  raidprep_test.sh SCRIPT
# shellcheck disable=SC2016 # the changes to a box are evaluated when it is there
set -eu

script=$1
export WORK
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
root=$WORK/root
failures=0

fail()
{
    echo "FAILED: $1" >&2
    failures=$((failures + 1))
}

# One program under all names. It notes what would change something in $WORK/calls, and fails when FAIL is a part of its
# command line.
mkdir "$WORK/bin"
cat >"$WORK/bin/parted" <<'END'
#!/bin/bash
root=$WORK/root
name=${0##*/}
case "$name $*" in
    *print | *no-act* | blkid* | mountpoint* | udevadm*) ;;
    *) echo "$name $*" | sed "s|$root||g" >>"$WORK/calls" ;;
esac
[[ -z ${FAIL:-} || "$name $*" != *"$FAIL"* ]] || exit 1
case "$name $*" in
    parted*print)
        echo "BYT;"
        echo "/dev/sdb:900s:scsi:512:512:${TABLE:-gpt}:X:;"
        echo "1:2048s:800s:700s:xfs:$(<"$WORK/partname"):;" ;;
    parted*mklabel*)
        mkdir -p "$root/sys/block/sdb/sdb1/holders"
        touch "$root/sys/block/sdb/sdb1/partition" "$root/dev/sdb1"
        echo 8:17 >"$root/sys/block/sdb/sdb1/dev"
        ln -sfn ../../block/sdb/sdb1 "$root/sys/class/block/sdb1"
        echo corvane-new >"$WORK/partname" ;;
    parted*name*) echo "${!#}" >"$WORK/partname" ;;
    wipefs*no-act*) printf '%s' "${SIGNATURE:-}" ;;
    blkid*-O*) exit "${BLKID:-2}" ;;
    blkid*UUID*) echo U-1 ;;
    blkid*TYPE*) echo xfs ;;
    mountpoint*) exit 1 ;;
esac
END
chmod +x "$WORK/bin/parted"
for tool in wipefs blkid mkfs.xfs mkfs.ext4 mount umount mountpoint udevadm; do
    ln -s parted "$WORK/bin/$tool"
done

# add_disk NAME ADDRESS DRIVER
add_disk()
{
    local host=${2%%:*}
    mkdir -p "$root/sys/block/$1/holders" "$root/sys/devices/$2" "$root/sys/class/scsi_host/host$host"
    ln -sfn "../../devices/$2" "$root/sys/block/$1/device"
    ln -sfn "../../block/$1" "$root/sys/class/block/$1"
    echo 0 >"$root/sys/block/$1/ro"
    echo "8:$host" >"$root/sys/block/$1/dev"
    echo "$3" >"$root/sys/class/scsi_host/host$host/proc_name"
    touch "$root/dev/$1"
}

# A plain disk, the system's volume, and the new data volume sdb.
make_box()
{
    rm -rf "$root" "$WORK/partname"
    mkdir -p "$root"/{dev,etc,proc/self,proc/1,sys/class/block}
    add_disk sda 0:0:0:0 ahci
    add_disk sdb 16:2:1:0 megaraid_sas
    add_disk sdc 32:2:0:0 megaraid_sas
    echo '/dev/sdc / ext4 defaults 0 1' >"$root/etc/fstab"
    echo '21 1 8:32 / / rw - ext4 /dev/sdc rw' | tee "$root/proc/1/mountinfo" >"$root/proc/self/mountinfo"
    echo '/dev/sdd partition 1 0 -2' >"$root/proc/swaps"
    : >"$WORK/calls"
}

# run STATUS WORD: the script ends so, its output has that word and no other.
run()
{
    local status=0 words
    PATH=$WORK/bin:$PATH RAIDPREP_ROOT=$root "$script" >"$WORK/out" || status=$?
    words=$(grep -Eo 'partitioning_error|format_error|mount_part_error' "$WORK/out" | sort -u | tr '\n' ' ') || true
    if [[ $status != "$1" || $words != "$2" ]]; then
        fail "$test: exit $status, words [$words]"
        cat "$WORK/out" >&2
    fi
}

# calls TEXT: what was done since the last time, one line each.
calls()
{
    diff -u <(printf '%s' "$1") "$WORK/calls" >&2 || fail "$test: other calls"
    : >"$WORK/calls"
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
run 0 ''
calls "$partition$format$name$mount"
printf '%s\n' '/dev/sdc / ext4 defaults 0 1' 'UUID=U-1 /mnt/data xfs noatime,nofail,x-corvane-data 0 0' |
    diff -u - "$root/etc/fstab" >&2 || fail "$test: fstab"

test="ready before, fstab knows it"
run 0 ''
calls 'mount UUID=U-1
'

# Refusals: nothing may be touched. Each is a change to a box that would do.
refused()
{
    test=$1
    make_box
    eval "$2"
    run 1 ''
    calls ''
    SIGNATURE='' BLKID='' FAIL='' TABLE=''
}
export SIGNATURE BLKID FAIL TABLE
foreign_partition='"$WORK/bin/parted" mklabel; : >"$WORK/calls"'
refused "a signature" 'SIGNATURE=xfs'
refused "an old file system where the partition would begin" 'BLKID=0'
refused "a probe that fails" 'BLKID=4'
refused "signatures that cannot be read" 'FAIL=no-act'
refused "a device that cannot be read" 'rm "$root/dev/sdb"; mkdir "$root/dev/sdb"'
refused "a foreign partition" "$foreign_partition; echo other >\"\$WORK/partname\""
refused "a table of another kind" "$foreign_partition; TABLE=msdos"
refused "a second partition" "$foreign_partition; cp -r \"\$root\"/sys/block/sdb/sdb{1,2}; cp -P \"\$root\"/sys/class/block/sdb{1,2}"
refused "a partition mounted under another name" "$foreign_partition; echo '30 21 8:17 / /v rw - xfs /dev/root rw' >>\"\$root/proc/self/mountinfo\""
refused "mounted where only the first process sees it" 'echo "30 21 0:44 / /v rw shared:1 - btrfs /dev/sdb rw" >>"$root/proc/1/mountinfo"'
refused "something built on it" 'mkdir "$root/sys/block/sdb/holders/dm-0"'
refused "swap space" 'echo "/dev/sdb partition 1 0 -3" >>"$root/proc/swaps"'
refused "read-only" 'echo 1 >"$root/sys/block/sdb/ro"'
refused "a single drive behind the controller" 'add_disk sdb 16:0:1:0 megaraid_sas'
refused "another driver" 'add_disk sdb 16:2:1:0 ahci'
refused "two unused volumes" 'add_disk sde 48:1:0:1 smartpqi'

# Each stage fails, and the next run takes it up.
test="partitioning fails"
make_box
FAIL=mklabel run 1 'partitioning_error '
calls "${partition}wipefs -q -a /dev/sdb
"
test="formatting fails"
FAIL=mkfs run 1 'format_error '
calls "$partition$format"
test="naming fails"
FAIL='name 1' run 1 'format_error '
calls "$format$name"
test="mounting fails"
FAIL='mount -t' run 1 'mount_part_error '
calls "$format$name$mount"
[[ $(ls "$root/etc") == fstab && $(wc -l <"$root/etc/fstab") == 1 ]] || fail "$test: fstab was changed"
test="the last stage"
run 0 ''
calls "$mount"

# The mount point.
test="settings, and a line of ours for a volume that is gone"
make_box
mkdir "$root/etc/corvane"
printf 'filesystem=ext4\nmountpoint=/video' >"$root/etc/corvane/raidprep"
echo 'UUID=U-0 /video xfs noatime,x-corvane-data,nofail 0 0' >>"$root/etc/fstab"
run 0 ''
calls "${partition}mkfs.ext4 -q -F -L corvane-data -m 0 -T largefile4 /dev/sdb1
$name${mount//mnt\/data/video}"
grep -c /video "$root/etc/fstab" | grep -qx 1 || fail "$test: it stayed"
for change in 'echo "UUID=U-0 /mnt/data xfs noatime 0 0" >>"$root/etc/fstab"' 'mkdir -p "$root/mnt/data/x"'; do
    test="a mount point that is taken: $change"
    make_box
    eval "$change"
    cp "$root/etc/fstab" "$WORK/fstab"
    run 1 'mount_part_error '
    calls "$partition$format$name"
    cmp "$WORK/fstab" "$root/etc/fstab" || fail "$test: fstab was changed"
done

exit $((failures > 0))
