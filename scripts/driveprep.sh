#!/bin/bash
# Prepares a data drive for recording: one partition over the whole drive, a file system, an entry in /etc/fstab, and
# the mount.
#
#   driveprep.sh prep SERIAL
#
# On standard output a word for each stage as it begins, nothing else: "partition", "format", "mount". The plug-in tells
# by the last of them where a preparation failed. Everything for people goes to standard error.
#
# Exit status: 0 prepared; 1 a stage failed; 2 the command line is wrong; 3 the drive is refused and was not touched.
#
# A drive is only taken when all of this is so: exactly one drive has the serial number; it is a disk, can be written and
# has a size; it stands in a bay (/dev/disk/by-slot/NUMBER) or is neither removable nor on USB; nothing of it is mounted,
# used as swap space or built upon; it does not carry the running system; and it holds
#   nothing (no partition table, no signature of a file system, a RAID or the like, and both ends can be read): all
#   stages;
#   or one partition named "corvane-new", begun by this script and never finished, with nothing in it or an empty file
#   system: formatted anew, then the mount;
#   or one partition named "corvane-data" with a file system, finished by this script: the mount only. It is never
#   formatted again, whatever happened since. When it is mounted already where its entry says, there is nothing to do.
# When the partition or the format fails, the drive is made empty again, so that the next request starts afresh.
#
# Data without any signature (an encrypted volume whose header lies elsewhere, a database on the bare disk) looks like
# nothing.
#
# The drive may be pulled out and another put in at any time. It is held open, which keeps its name from being given to
# another, and its serial number is looked at again before each step that overwrites something.
#
# Settings, in the key=value file /etc/corvane/driveprep where it exists:
#   filesystem   xfs (the default) or ext4
#   mountbase    /mnt/data by default: the first of /mnt/data1, /mnt/data2, ... that is free
#
# Meant for tests only: DRIVEPREP_ROOT stands before the paths of /etc, /sys, /run and /dev/disk.

set -u
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin

root=${DRIVEPREP_ROOT:-}
fstab=$root/etc/fstab
settings=$root/etc/corvane/driveprep
lock=$root/run/corvane-driveprep.lock

readonly new_name=corvane-new
readonly data_name=corvane-data
readonly ends_mib=4 # the tools look for signatures at most so far from both ends

serial=
drive=          # "/dev/sdf"
size=           # bytes
part=           # "/dev/sdf1"
filesystem=xfs
mountbase=/mnt/data
undo=           # function that makes up for a stage that fails or is cut off
new_directory=  # made by this run
fstab_changed=

say()
{
    printf 'driveprep.sh: %s\n' "$*" >&2
}

refuse()
{
    say "$*"
    exit 3
}

fail()
{
    say "$*"
    exit 1
}

stage()
{
    printf '%s\n' "$1"
}

# The tools talk to people, so their words go to standard error.
tool()
{
    "$@" >&2
}

trimmed()
{
    local text=$1
    text=${text#"${text%%[![:space:]]*}"}
    printf '%s' "${text%"${text##*[![:space:]]}"}"
}

# property DEVICE COLUMN: of the device itself, not of what lies on it.
property()
{
    trimmed "$(lsblk -dno "$2" "$1" 2>/dev/null)"
}

# The same serial number that sysinfo.sh prints; the drive's own page where udev has not read it. A page has a header of
# four bytes.
serial_of()
{
    local serial page=$root/sys/block/${1##*/}/device/vpd_pg80
    serial=$(property "$1" SERIAL)
    if [[ -z $serial && -r $page ]]; then
        serial=$(trimmed "$(dd if="$page" bs=1 skip=4 2>/dev/null | tr -cd ' -~')")
    fi
    printf '%s' "$serial"
}

read_settings()
{
    local key value
    if [[ ! -r $settings ]]; then
        return
    fi
    while IFS='=' read -r key value || [[ -n $key ]]; do
        case $key in
        filesystem) filesystem=$(trimmed "$value") ;;
        mountbase) mountbase=$(trimmed "$value") ;;
        esac
    done <"$settings"
    if [[ $filesystem != xfs && $filesystem != ext4 ]]; then
        refuse "$settings: filesystem must be xfs or ext4"
    fi
    if [[ ! $mountbase =~ ^/[A-Za-z0-9_./-]+$ ]]; then
        refuse "$settings: mountbase must be an absolute path of letters, digits and _ . / -"
    fi
}

find_drive()
{
    local device found=()
    for device in $(lsblk -dnpro NAME); do
        if [[ $(serial_of "$device") == "$serial" ]]; then
            found+=("$device")
        fi
    done
    if [[ ${#found[@]} -ne 1 ]]; then
        refuse "${#found[@]} drives have the serial number $serial"
    fi
    drive=${found[0]}
    exec 8<"$drive" || refuse "$drive cannot be read"
    is_same_drive || refuse "$drive was exchanged"
}

is_same_drive()
{
    [[ $(serial_of "$drive") == "$serial" ]]
}

# sysinfo.sh takes a drive in a bay for a data drive too, whatever its port says.
is_in_bay()
{
    local link
    for link in "$root"/dev/disk/by-slot/*; do
        if [[ ${link##*/} =~ ^[0-9]{1,9}$ && $(readlink -f "$link") == "$drive" ]]; then
            return 0
        fi
    done
    return 1
}

check_kind()
{
    [[ $(property "$drive" TYPE) == disk ]] || refuse "$drive is no disk"
    if ! is_in_bay; then
        [[ $(property "$drive" RM) == 0 ]] || refuse "$drive is removable"
        [[ $(property "$drive" TRAN) != usb ]] || refuse "$drive is on USB"
    fi
    [[ $(property "$drive" RO) == 0 ]] || refuse "$drive cannot be written"
    size=$(lsblk -bdno SIZE "$drive") || refuse "$drive has no size"
    size=$(trimmed "$size")
    [[ $size =~ ^[1-9][0-9]*$ ]] || refuse "$drive has no size"
}

# The drives below a device, through LVM, RAID and the like.
drives_below()
{
    lsblk -snpro NAME "$1" 2>/dev/null
}

check_unused()
{
    local types type uses path source
    types=$(lsblk -nro TYPE "$drive") || refuse "cannot see what is on $drive"
    for type in $types; do
        if [[ $type != disk && $type != part ]]; then
            refuse "$drive is part of something else ($type)"
        fi
    done
    for path in / /boot /boot/efi /usr /var; do
        source=$(findmnt -nvo SOURCE --target "$path" 2>/dev/null) || continue
        if [[ $source == /dev/* ]] && drives_below "$source" | grep -qxF "$drive"; then
            refuse "$drive carries the system ($path)"
        fi
    done
    if [[ -n $(ls -A "$root/sys/block/${drive##*/}/holders" 2>/dev/null) ]]; then
        refuse "$drive is part of something else"
    fi
    uses=$(lsblk -nro MOUNTPOINTS "$drive") || refuse "cannot see what $drive is used for"
    uses=$(trimmed "$uses")
    if [[ -n $uses ]]; then
        if is_finished "$uses"; then
            say "$drive is at $uses already"
            exit 0
        fi
        refuse "$drive is in use at ${uses//$'\n'/ }"
    fi
}

# is_finished MOUNTS: prepared by this script, and mounted where its entry says and nowhere else.
is_finished()
{
    local parts uuid
    [[ $(content 2>/dev/null) == data ]] || return 1
    mapfile -t parts < <(partitions)
    uuid=$(probe "${parts[0]}" UUID)
    [[ -n $uuid && $(entry_directory "UUID=$uuid") == "$1" ]]
}

partitions()
{
    lsblk -npro NAME,TYPE "$drive" | awk '$2 == "part" { print $1 }'
}

# signatures DEVICE: the types of all signatures, a partition table included. Fails when the device cannot be read.
signatures()
{
    wipefs --noheadings --output TYPE "$1"
}

# probe DEVICE TAG: read from the device itself, since udev's record may be older.
probe()
{
    blkid -p -s "$2" -o value "$1" 2>/dev/null
}

# No signature is seen where nothing can be read, and wipefs and blkid say nothing about that.
check_readable()
{
    local at
    for at in 0 $((size - ends_mib * 1024 * 1024)); do
        if [[ $(dd if="$drive" bs=1M count=$ends_mib iflag=direct,skip_bytes skip="$at" | wc -c) -ne \
            $((ends_mib * 1024 * 1024)) ]]; then
            refuse "$drive cannot be read"
        fi
    done
}

# What is on the drive decides what is left to do: "empty", "new" or "data". Refuses the rest.
content()
{
    local found parts name
    found=$(signatures "$drive") || refuse "$drive cannot be read"
    mapfile -t parts < <(partitions)
    if [[ -z $found && ${#parts[@]} -eq 0 ]]; then
        check_readable
        echo empty
        return
    fi
    if [[ ${#parts[@]} -eq 1 && $(probe "$drive" PTTYPE) == gpt ]]; then
        name=$(probe "${parts[0]}" PART_ENTRY_NAME)
        if [[ $name == "$new_name" ]]; then
            check_readable
            check_unfinished "${parts[0]}"
            echo new
            return
        fi
        if [[ $name == "$data_name" && $(probe "${parts[0]}" TYPE) =~ ^(xfs|ext4)$ ]]; then
            echo data
            return
        fi
    fi
    refuse "$drive has data: ${#parts[@]} partitions, $(trimmed "${found//$'\n'/ }")"
}

# check_unfinished PARTITION: refuses one that somebody has put to use since.
check_unfinished()
{
    local types
    types=$(signatures "$1") || refuse "$1 cannot be read"
    case $types in
    "") ;;
    xfs | ext4) check_no_files "$1" "$types" ;;
    *) refuse "$1 has data: $(trimmed "${types//$'\n'/ }")" ;;
    esac
}

# check_no_files PARTITION TYPE
check_no_files()
{
    local place files
    # mkfs.xfs sets this byte of the superblock until it is done, and nobody can mount that.
    if [[ $2 == xfs && $(od -An -tu1 -j126 -N1 "$1" 2>/dev/null) -eq 1 ]]; then
        return
    fi
    place=$(mktemp -d "$root/run/corvane-look.XXXXXX") || refuse "no directory to look into $1"
    if ! tool mount -t "$2" -o ro,nodev,nosuid,noexec "$1" "$place"; then
        rmdir "$place"
        refuse "$1 has a file system that cannot be looked into"
    fi
    files=$(ls -A "$place") || files="unreadable files"
    tool umount "$place" || refuse "$1 cannot be let go of"
    rmdir "$place"
    [[ -z $files || $files == lost+found ]] || refuse "$1 has files"
}

# check_alone DEVICE: a use that lsblk does not know of. wipefs opens it for itself alone here.
check_alone()
{
    tool wipefs --quiet --all --no-act "$1" || refuse "$1 is in use"
    settle
}

settle()
{
    if command -v udevadm >/dev/null; then
        udevadm settle --timeout=30 >&2 || true
    fi
}

# The partition's device appears some time after the partition. At most about a minute: what has the name then may be
# another drive.
wait_for_partition()
{
    local parts tries
    settle
    for ((tries = 0; tries < 100; tries++)); do
        mapfile -t parts < <(partitions)
        if [[ ${#parts[@]} -eq 1 && -e ${parts[0]} ]]; then
            part=${parts[0]}
            return 0
        fi
        sleep 0.2
    done
    return 1
}

is_new_partition()
{
    is_same_drive && [[ $(probe "$part" PART_ENTRY_NAME) == "$new_name" ]]
}

# Before each step that overwrites something: nothing is made up for on a drive that is not ours.
require()
{
    if ! "$1"; then
        undo=
        fail "$drive is no longer what it was; it is left alone"
    fi
}

# Only ever called for a drive that was empty or unfinished, and could be read, when this run began.
make_empty()
{
    if ! is_same_drive || { [[ -n $part ]] && ! is_new_partition; }; then
        say "$drive is no longer what it was; it is left alone"
        return
    fi
    if [[ -n $part ]]; then
        tool wipefs --quiet --all "$part" || true
    fi
    if ! is_same_drive || ! tool wipefs --quiet --all "$drive"; then
        say "$drive could not be made empty again"
    fi
    tool blockdev --rereadpt "$drive" || true
    settle
}

unmount_again()
{
    if [[ -n $fstab_changed ]]; then
        # shellcheck disable=SC2016 # awk's own fields
        write_fstab '$2 != directory || $1 != source' || say "the entry in $fstab could not be taken back"
    fi
    if [[ -n $new_directory ]]; then
        rmdir "$new_directory" || true
    fi
}

finish()
{
    local status=$?
    trap - EXIT
    if [[ $status -ne 0 && -n $undo ]]; then
        "$undo"
    fi
    exit "$status"
}

make_partition()
{
    check_alone "$drive"
    stage partition
    require is_same_drive
    undo=make_empty
    tool parted -s -a optimal -- "$drive" mklabel gpt mkpart "$new_name" 1MiB 100% ||
        fail "$drive: no partition could be made"
    wait_for_partition || fail "$drive: the partition does not appear"
}

make_filesystem()
{
    stage format
    require is_new_partition
    undo=make_empty
    # The drive was found without data; what a run that was cut off left behind is overwritten.
    case $filesystem in
    xfs) tool mkfs.xfs -f -q "$part" ;;
    ext4) tool mkfs.ext4 -F -q "$part" ;;
    esac || fail "$part: mkfs.$filesystem failed"
    settle
    require is_new_partition
    # From here on the drive counts as one with data.
    tool parted -s -- "$drive" name 1 "$data_name" || fail "$drive: the partition could not be named"
    undo=
    settle
}

source=    # of the entry in fstab
directory=

# write_fstab CONDITION [LINE]: keeps the lines for which awk's condition holds and adds LINE. In one step, so that no
# power loss leaves half a table.
write_fstab()
{
    local target copy
    target=$(readlink -f "$fstab") || return 1
    copy=$target.corvane
    {
        if [[ -e $target ]]; then
            cp -p "$target" "$copy" && awk -v source="$source" -v directory="$directory" "$1" "$target" >"$copy"
        else
            : >"$copy"
        fi
    } && { [[ $# -lt 2 ]] || printf '%s\n' "$2" >>"$copy"; } && sync "$copy" && mv "$copy" "$target"
}

# entry_directory SOURCE: nothing when there is no entry.
entry_directory()
{
    if [[ -r $fstab ]]; then
        awk -v source="$1" '$1 == source { print $2; exit }' "$fstab"
    fi
}

# The entry's directory when there is one for this file system; else the first that is free.
choose_directory()
{
    local number
    directory=$(entry_directory "$source")
    if [[ -n $directory ]]; then
        return
    fi
    for ((number = 1; ; number++)); do
        directory=$mountbase$number
        if ! awk -v directory="$directory" '$2 == directory { found = 1 } END { exit !found }' "$fstab" 2>/dev/null &&
            ! findmnt --mountpoint "$directory" >/dev/null &&
            [[ ! -e $directory || (-d $directory && -z $(ls -A "$directory")) ]]; then
            return
        fi
    done
}

mount_it()
{
    local uuid type pass
    stage mount
    undo=unmount_again
    uuid=$(probe "$part" UUID)
    type=$(probe "$part" TYPE)
    [[ -n $uuid && -n $type ]] || fail "$part: no file system to be seen"
    source=UUID=$uuid
    choose_directory
    if [[ ! -d $directory ]]; then
        tool mkdir -p "$directory" || fail "$directory cannot be made"
        new_directory=$directory
    fi
    # Should a drive be lost, the machine has to start without it.
    pass=$([[ $type == xfs ]] && echo 0 || echo 2)
    if ! awk -v source="$source" '$1 == source { found = 1 } END { exit !found }' "$fstab" 2>/dev/null; then
        write_fstab 1 "$source $directory $type defaults,noatime,nofail 0 $pass" || fail "$fstab cannot be written"
        fstab_changed=yes
    fi
    # Not by the entry alone: systemd may not know it yet.
    tool mount -t "$type" -o defaults,noatime "$source" "$directory" || fail "$part cannot be put at $directory"
    undo=
    if command -v systemctl >/dev/null; then
        systemctl daemon-reload >&2 || true
    fi
    say "$drive is at $directory"
}

if [[ $# -ne 2 || $1 != prep || -z $2 ]]; then
    say "usage: driveprep.sh prep SERIAL"
    exit 2
fi
exec 9>"$lock" || refuse "$lock cannot be written"
flock --nonblock 9 || refuse "another preparation is running"
read_settings
serial=$2
find_drive
check_kind
check_unused
state=$(content) || exit 3

trap finish EXIT
trap 'exit 1' HUP INT TERM PIPE
case $state in
empty)
    make_partition
    make_filesystem
    ;;
new)
    wait_for_partition || fail "$drive: the partition does not appear"
    check_alone "$part"
    make_filesystem
    ;;
data)
    wait_for_partition || fail "$drive: the partition does not appear"
    ;;
esac
mount_it
