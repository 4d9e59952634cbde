#!/bin/bash
# Prepares the RAID data volume for the plug-in: one partition, one file system, mounted now and after every start.
# No arguments. All output goes to standard output, which the plug-in logs line by line.
#
# Exit status 0: the volume is mounted. Otherwise the output tells with one of these words which stage has failed:
#     partitioning_error  format_error  mount_part_error
# and none of them when nothing was begun.
#
# It works on the one volume of a RAID controller that nothing uses: nothing of it mounted, no swap space, nothing
# built on it. With none or with several it does nothing. What the volume holds decides where it begins:
#
#     nothing at all                          partition, format, mount
#     our table without a partition           partition, format, mount: an earlier run was cut off in between
#     our partition, name "corvane-new"       format, mount: an earlier run did not finish formatting
#     our partition, name "corvane-data"      mount: what is on it stays
#     anything else                           nothing: it has to be wiped by hand first
#
# So a failed stage is taken up by running the script again, and a volume that was once ready is never formatted. The
# partition gets its second name when the file system is complete; with the first name it is formatted only when it holds
# nothing or an xfs or ext4 without files.
#
# "Nothing at all" means: no signature that the tools know, and both ends can be read. Old disks are seldom zero all over,
# so other contents count as nothing: an encrypted volume whose header lies elsewhere, a database on the bare volume.
#
# Settings, from the key=value file /etc/corvane/raidprep where it exists:
#     mountpoint=/mnt/data    an absolute path without blanks
#     filesystem=xfs          xfs or ext4; xfs unless its tool is missing
#
# Meant for tests only: RAIDPREP_ROOT stands before all paths; commands are looked up in PATH.

set -u
export LC_ALL=C
PATH=$PATH:/usr/sbin:/sbin
exec 2>&1

root=${RAIDPREP_ROOT:-}
new_name=corvane-new
ready_name=corvane-data
start_mib=1
fstab=$root/etc/fstab
# Marks our lines in fstab: one of them may be replaced when its volume is gone. The mount program passes over it.
fstab_mark=x-corvane-data
# Holds the volume's name for life while its partition table is being written: an empty table on it is ours then.
begun=$root/etc/corvane/raidprep.begun
ends_mib=4 # the tools look for signatures at most so far from both ends

say() { printf 'raidprep.sh: %s\n' "$1"; }

refuse()
{
    say "$1"
    exit 1
}

# stage_failed WORD TEXT
stage_failed()
{
    printf '%s: %s\n' "$1" "$2"
    exit 1
}

# setting KEY DEFAULT
setting()
{
    local key value result=$2
    if [[ -r $root/etc/corvane/raidprep ]]; then
        while IFS='=' read -r key value || [[ -n $key ]]; do
            [[ $key == "$1" ]] && result=${value%$'\r'}
        done <"$root/etc/corvane/raidprep"
    fi
    printf '%s' "$result"
}

default_filesystem()
{
    if type -P mkfs.xfs >/dev/null; then echo xfs; else echo ext4; fi
}

# is_volume NAME: a volume of a RAID controller, by driver and SCSI channel. MegaRAID drivers show volumes from channel 2
# on, aacraid on channel 0, smartpqi on channel 1; single drives stand on the other channels. sysinfo.sh has to know the
# same ones: it tells the plug-in that the volume is mounted.
is_volume()
{
    local address driver host channel
    address=$(readlink -f "$root/sys/block/$1/device") || return 1
    IFS=: read -r host channel _ <<<"${address##*/}"
    [[ $host =~ ^[0-9]+$ && $channel =~ ^[0-9]+$ ]] || return 1
    read -r driver <"$root/sys/class/scsi_host/host$host/proc_name" || return 1
    case $driver in
        megaraid_sas) ((channel >= 2)) ;;
        aacraid) ((channel == 0)) ;;
        smartpqi) ((channel == 1)) ;;
        *) return 1 ;;
    esac
}

# partitions_of NAME: their names on one line, as the kernel knows them.
partitions_of()
{
    local directory
    for directory in "$root/sys/block/$1/$1"*; do
        if [[ -e $directory/partition ]]; then
            printf '%s ' "${directory##*/}"
        fi
    done
}

# is_used NAME: the device itself, by mount (also one that only the first process sees), swap space or what is built on
# it. When in doubt it is.
is_used()
{
    local number holders found status directory=$root/sys/class/block/$1
    number=$(<"$directory/dev") || return 0
    holders=$(ls -A "$directory/holders") || return 0
    [[ -z $holders ]] || return 0
    # Some file systems hide the number; the source stands second after the lone "-". A failure of awk is no answer, not
    # even with one: it may have read the first file only.
    found=$(awk -v number="$number" -v device="/dev/$1" '
        { for (i = 7; i <= NF && $i != "-"; i++) { } }
        $3 == number || $(i + 2) == device { found = 1 }
        END { print found + 0 }' "$root/proc/self/mountinfo" "$root/proc/1/mountinfo") || return 0
    [[ $found == 0 ]] || return 0
    [[ -e $root/proc/swaps ]] || return 1 # a kernel without swap space
    status=0
    grep -q "^/dev/$1[[:space:]]" "$root/proc/swaps" || status=$?
    ((status != 1)) # "not found"
}

# is_unused_volume NAME: with all its partitions.
is_unused_volume()
{
    local part
    is_volume "$1" || return 1
    [[ $(<"$root/sys/block/$1/ro") == 0 ]] || return 1
    for part in "$1" $(partitions_of "$1"); do
        if is_used "$part"; then
            return 1
        fi
    done
}

# ends_readable NAME: no signature is seen where nothing can be read, and wipefs and blkid say nothing about that.
ends_readable()
{
    local sectors at bytes=$((ends_mib * 1024 * 1024))
    sectors=$(<"$root/sys/block/$1/size") || return 1
    for at in 0 $((sectors * 512 - bytes)); do
        [[ $(dd if="$root/dev/$1" bs=1M count=$ends_mib iflag=direct,skip_bytes skip="$at" | wc -c) -eq $bytes ]] ||
            return 1
    done
}

# lasting_name NAME: the volume's, which no other one has; nothing when the kernel does not tell.
lasting_name()
{
    cat "$root/sys/block/$1/device/wwid" 2>/dev/null
}

# is_empty NAME: no partition table, no file system or RAID signature, neither at the start nor where our partition will
# begin, where an old one would come to light. What cannot be read is not empty. An empty partition table is no content
# when this script has begun to write it; any other may be all that is left of somebody's partitions.
is_empty()
{
    local device=$root/dev/$1 signatures type found own=
    ends_readable "$1" || return 1
    signatures=$(wipefs --noheadings --output TYPE "$device") || return 1
    if [[ -r $begun ]]; then
        own=$(<"$begun")
    fi
    for type in $signatures; do
        [[ $type == gpt || $type == PMBR ]] && [[ -n $own && $own == "$(lasting_name "$1")" ]] || return 1
    done
    found=0
    blkid -p -O $((start_mib * 1024 * 1024)) "$device" >/dev/null || found=$?
    ((found == 2)) # "nothing found"; anything else, a failure too, counts as a find
}

# The one partition's name in the volume's table, which parted has to find sound. Empty for any other table.
partition_name()
{
    parted -s -m "$root/dev/$1" unit s print | awk -F : '
        NR == 2 { gpt = $6 == "gpt" }
        NR > 2 { count++; number = $1; name = $6; sub(/;$/, "", name) }
        END { if (gpt && count == 1 && number == 1) { print name } }'
}

# The stage at which to begin: partition, format or mount; nothing when the volume holds something else.
find_stage()
{
    local partitions
    read -ra partitions <<<"$(partitions_of "$1")"
    if ((${#partitions[@]} == 0)); then
        is_empty "$1" && echo partition
    elif ((${#partitions[@]} == 1)); then
        case $(partition_name "$1") in
            "$new_name") echo format ;;
            "$ready_name") echo mount ;;
        esac
    fi
}

settle()
{
    if type -P udevadm >/dev/null; then
        udevadm settle --timeout=30
    fi
}

# check_alone DEVICE: a use that none of the kernel's lists shows. wipefs opens it for itself alone here.
check_alone()
{
    wipefs --all --no-act "$1" >/dev/null || refuse "$1 is in use"
    settle
}

make_partition()
{
    local device=$root/dev/$1
    check_alone "$device"
    mkdir -p "${begun%/*}"
    lasting_name "$1" >"$begun" && sync "$begun"
    if ! parted -s -a none "$device" mklabel gpt mkpart "$new_name" ${start_mib}MiB 100%; then
        # Half a table of ours, on a volume that was empty a moment ago: without it the next run can begin anew.
        wipefs -q -a "$device"
        rm -f "$begun"
        stage_failed partitioning_error "parted failed on $device"
    fi
    rm -f "$begun"
}

# find_partition NAME: sets `partition` to the device of the volume's one partition. Whenever parted lets go of the
# volume, also after it has only looked, udev has the table read again and the device is gone for a moment.
find_partition()
{
    local names tries
    settle
    for ((tries = 0; tries < 10; tries++)); do
        read -ra names <<<"$(partitions_of "$1")"
        partition=$root/dev/${names[0]:-}
        if [[ ${#names[@]} -eq 1 && -e $partition ]]; then
            return 0
        fi
        sleep 0.5
    done
    return 1
}

# check_unfinished NAME: refuses when somebody has put the partition to use since.
check_unfinished()
{
    local types files place=$root/run/corvane-raidprep.look
    ends_readable "$1" || refuse "/dev/$1 cannot be read"
    types=$(wipefs --noheadings --output TYPE "$partition") || refuse "$partition cannot be read"
    if [[ -n $types ]]; then
        [[ $types == xfs || $types == ext4 ]] || refuse "$partition is in use: ${types//$'\n'/ }"
        # mkfs.xfs sets this byte of the superblock until it is done, and nobody can mount that.
        if [[ $types == ext4 || $(od -An -tu1 -j126 -N1 "$partition" 2>/dev/null) -ne 1 ]]; then
            mkdir -p "$place"
            mount -t "$types" -o ro,nodev,nosuid,noexec "$partition" "$place" ||
                refuse "$partition has a file system that cannot be looked into"
            files=$(ls -A "$place") || files="unreadable files"
            umount "$place" || refuse "$partition cannot be let go of"
            [[ -z $files || $files == lost+found ]] || refuse "$partition has files"
        fi
    fi
    check_alone "$partition"
}

# format NAME FILESYSTEM
format()
{
    local make
    case $2 in
        xfs) make=(mkfs.xfs -f -L corvane-data) ;;
        # Few large files; no space set aside for root.
        ext4) make=(mkfs.ext4 -q -F -L corvane-data -m 0 -T largefile4) ;;
        *) stage_failed format_error "file system $2 is not known" ;;
    esac
    "${make[@]}" "$partition" || stage_failed format_error "${make[0]} failed on $partition"
    sync
    settle
    parted -s "$root/dev/$1" name 1 "$ready_name" || stage_failed format_error "cannot name $partition"
    settle
}

has_fstab_line() { awk -v uuid="UUID=$1" '$1 == uuid { found = 1 } END { exit !found }' "$fstab"; }

# Prints fstab with a line for the volume: UUID TYPE MOUNTPOINT. A line of ours for an earlier volume gives way; fails
# when the mount point belongs to something else.
new_fstab()
{
    awk -v uuid="UUID=$1" -v type="$2" -v target="$3" -v mark="$fstab_mark" '
        $1 !~ /^#/ && $2 == target {
            if ($4 !~ "(^|,)" mark "(,|$)") { taken = 1 }
            next
        }
        { print }
        END {
            print uuid, target, type, "noatime,nofail," mark, "0", (type == "xfs" ? "0" : "2")
            exit taken
        }' "$fstab"
}

# mount_new UUID TYPE MOUNTPOINT: mounts it and sees to it that every start does.
mount_new()
{
    local target=$root$3
    mkdir -p "$target" || stage_failed mount_part_error "cannot make $3"
    if mountpoint -q "$target" || [[ -n $(ls -A "$target") ]]; then
        stage_failed mount_part_error "$3 is in use"
    fi
    if ! new_fstab "$1" "$2" "$3" >"$fstab.corvane"; then
        rm -f "$fstab.corvane"
        stage_failed mount_part_error "fstab has another line for $3"
    fi
    chmod 0644 "$fstab.corvane"
    if ! mount -t "$2" -o noatime "$partition" "$target"; then
        rm -f "$fstab.corvane"
        stage_failed mount_part_error "cannot mount $partition"
    fi
    # Complete or not at all: the machine has to start with this file.
    if ! { sync "$fstab.corvane" && mv "$fstab.corvane" "$fstab"; }; then
        umount "$target"
        stage_failed mount_part_error "cannot write fstab"
    fi
    if [[ -d $root/run/systemd/system ]]; then
        systemctl daemon-reload
    fi
}

# mount_partition MOUNTPOINT
mount_partition()
{
    local uuid type
    uuid=$(blkid -p -s UUID -o value "$partition")
    type=$(blkid -p -s TYPE -o value "$partition")
    if [[ -z $uuid || -z $type ]]; then
        stage_failed mount_part_error "no file system on $partition"
    fi
    [[ -e $fstab ]] || : >"$fstab"
    if has_fstab_line "$uuid"; then # of an earlier run, or the administrator's own
        mount "UUID=$uuid" || stage_failed mount_part_error "cannot mount $partition as fstab says"
    else
        mount_new "$uuid" "$type" "$1"
    fi
    say "$partition is mounted"
}

if (($# != 0)); then
    echo "usage: raidprep.sh"
    exit 2
fi
mount_point=$(setting mountpoint /mnt/data)
[[ $mount_point == /?* && $mount_point != *[[:space:]]* ]] || refuse "no usable mount point: $mount_point"
mkdir -p "$root/run"
exec 9>"$root/run/corvane-raidprep.lock"
flock -n 9 || refuse "another run is busy"

volumes=()
for block in "$root"/sys/block/*; do
    if is_unused_volume "${block##*/}"; then
        volumes+=("${block##*/}")
    fi
done
((${#volumes[@]} == 1)) || refuse "${#volumes[@]} unused RAID volumes, one is expected"
volume=${volumes[0]}
exec 8<"$root/dev/$volume" || refuse "/dev/$volume cannot be read" # held open: no other volume gets the name
stage=$(find_stage "$volume")
[[ -n $stage ]] || refuse "/dev/$volume is not empty and was not prepared by this script; it is left alone"
say "/dev/$volume: begin with stage $stage"

if [[ $stage == partition ]]; then
    make_partition "$volume"
fi
if ! find_partition "$volume"; then
    word=mount_part_error
    [[ $stage == partition ]] && word=partitioning_error
    [[ $stage == format ]] && word=format_error
    stage_failed "$word" "no partition to be seen on /dev/$volume"
fi
if [[ $stage == format ]]; then
    check_unfinished "$volume"
fi
if [[ $stage != mount ]]; then
    format "$volume" "$(setting filesystem "$(default_filesystem)")"
fi
mount_partition "$mount_point"
