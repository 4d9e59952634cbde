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
#     our partition, name "corvane-new"       format, mount: an earlier run did not finish formatting
#     our partition, name "corvane-data"      mount: what is on it stays
#     anything else                           nothing: it has to be wiped by hand first
#
# So a failed stage is taken up by running the script again, and a volume that was once ready is never formatted. The
# partition gets its second name when the file system is complete.
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
# on, aacraid on channel 0, smartpqi on channel 1; single drives stand on the other channels.
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
    local number holders directory=$root/sys/class/block/$1
    number=$(<"$directory/dev") || return 0
    holders=$(ls -A "$directory/holders") || return 0
    [[ -n $holders ]] ||
        # Some file systems hide the number; the source stands second after the lone "-".
        awk -v number="$number" -v device="/dev/$1" '
            { for (i = 7; i <= NF && $i != "-"; i++) { } }
            $3 == number || $(i + 2) == device { found = 1 }
            END { exit !found }' "$root/proc/self/mountinfo" "$root/proc/1/mountinfo" ||
        grep -q "^/dev/$1[[:space:]]" "$root/proc/swaps"
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

# is_empty NAME: no partition table, no file system or RAID signature, neither at the start nor where our partition will
# begin, where an old one would come to light. What cannot be read is not empty.
is_empty()
{
    local device=$root/dev/$1 signatures found
    dd if="$device" of=/dev/null bs=1M count=$((start_mib + 1)) status=none || return 1
    signatures=$(wipefs --no-act "$device") || return 1
    [[ -z $signatures ]] || return 1
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

make_partition()
{
    local device=$root/dev/$1
    if ! parted -s -a none "$device" mklabel gpt mkpart "$new_name" ${start_mib}MiB 100%; then
        # Half a table of ours, on a volume that was empty a moment ago: without it the next run can begin anew.
        wipefs -q -a "$device"
        stage_failed partitioning_error "parted failed on $device"
    fi
    settle
}

# find_partition NAME: sets `partition` to the device of the volume's one partition.
find_partition()
{
    local names
    read -ra names <<<"$(partitions_of "$1")"
    partition=$root/dev/${names[0]:-}
    [[ ${#names[@]} -eq 1 && -e $partition ]]
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
if [[ $stage != mount ]]; then
    format "$volume" "$(setting filesystem "$(default_filesystem)")"
fi
mount_partition "$mount_point"
