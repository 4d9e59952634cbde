#!/bin/bash
# Describes the machine for the plug-in: key=value lines on standard output, one value each, unknown values left out.
# Exit status 0 means that the description is complete. Anything else makes the plug-in keep what it knew: half a
# list of mounts would make it offer a volume in use for preparation.
#
# Board and firmware:  motherboard-vendor motherboard-model firmware-vendor firmware-version
# Machine:             os memory swap, and one "processor" line for each socket
# Installation:        deploykey-version deploykey-jobnumber deploykey-branchname baseimage-version, from the
#                      key=value files /etc/corvane/deploykey (version, jobnumber, branchname) and
#                      /etc/corvane/baseimage (version), where they exist
# Each plain drive:    drive-index drive-name drive-serial drive-partitions drive-removable drive-fspath
#                      drive-fstype drive-needs-prep, "drive-index" first
# RAID volumes:        a pair raid-volume, raid-fspath for each mount of a controller's volume
#
# drive-index: the number of the bay, where /dev/disk/by-slot/NUMBER points to the drive. Drives without a bay, and
# all of them on a machine without that directory, are numbered on from the highest bay, SCSI and SATA drives by
# their address first, then the others by name.
#
# drive-fspath: one mount path of the drive: "/" when it carries the system, else the one of its largest file system.
#
# drive-removable: 1 for what can be pulled out, USB included. A drive in a bay is none, whatever its port says.
#
# drive-needs-prep: 1 only for a drive that surely holds nothing. All of this must be so: the whole drive has no
# partition table, no partition, no file system or RAID signature and nothing built on it, nothing of it is mounted
# or used as swap space, it is not removable, can be written and has a size, and udev has a record of it (without
# one nobody has looked for signatures). A drive with an empty partition table has to be wiped by hand first.
# Or 1 for a drive that driveprep.sh has not finished: its only partition has the name "corvane-new" or "corvane-data"
# and is not mounted. The script formats the first only, and mounts both.
# In both cases its first and last 4 MiB can be read: udev sees no signature on a drive that it cannot read either.
#
# Meant for tests only: SYSINFO_ROOT stands before all paths read, SYSINFO_LSBLK and SYSINFO_FINDMNT replace the
# two commands.

set -u
export LC_ALL=C

root=${SYSINFO_ROOT:-}
lsblk=${SYSINFO_LSBLK:-lsblk}
findmnt=${SYSINFO_FINDMNT:-findmnt}

# The first line of a file, without blanks around it; nothing when it cannot be read.
first_line()
{
    local line=
    if [[ -r $1 ]]; then
        read -r line <"$1" || true
    fi
    printf '%s' "${line%$'\r'}"
}

# print_value KEY VALUE: nothing for an empty value, so that the plug-in keeps what it knew.
print_value()
{
    if [[ -n $2 ]]; then
        printf '%s=%s\n' "$1" "$2"
    fi
}

# file_value FILE KEY: the value in a key=value file, without quotes around it.
file_value()
{
    if [[ -r $1 ]]; then
        awk -v key="$2" '
            index($0, key "=") == 1 {
                value = substr($0, length(key) + 2)
                sub(/[ \t\r]+$/, "", value)
                if (value ~ /^".*"$/ || value ~ /^\047.*\047$/) {
                    value = substr(value, 2, length(value) - 2)
                }
            }
            END { print value }' "$1"
    fi
}

print_board()
{
    local dmi=$root/sys/class/dmi/id
    print_value motherboard-vendor "$(first_line "$dmi/board_vendor")"
    print_value motherboard-model "$(first_line "$dmi/board_name")"
    print_value firmware-vendor "$(first_line "$dmi/bios_vendor")"
    print_value firmware-version "$(first_line "$dmi/bios_version")"
}

print_machine()
{
    print_value os "$(file_value "$root/etc/os-release" PRETTY_NAME)"
    if [[ -r $root/proc/meminfo ]]; then
        awk '/^MemTotal:/ { printf "memory=%d MB\n", $2 / 1024 }
             /^SwapTotal:/ { printf "swap=%d MB\n", $2 / 1024 }' "$root/proc/meminfo"
    fi
    if [[ -r $root/proc/cpuinfo ]]; then
        # One block for each thread; "physical id" tells the socket, and comes after the model name.
        awk -F '[ \t]*:[ \t]*' '
            /^model name/ { model = $2 }
            /^physical id/ { socket = $2 }
            /^[ \t]*$/ { finish() }
            function finish() {
                if (model != "" && !(socket in seen)) {
                    seen[socket] = 1
                    gsub(/[ \t]+/, " ", model)
                    print "processor=" model
                }
                model = ""
                socket = ""
            }
            END { finish() }' "$root/proc/cpuinfo"
    fi
}

print_installation()
{
    local key
    for key in version jobnumber branchname; do
        print_value "deploykey-$key" "$(file_value "$root/etc/corvane/deploykey" "$key")"
    done
    print_value baseimage-version "$(file_value "$root/etc/corvane/baseimage" version)"
}

# "slot NUMBER DEVICE" for each bay with a drive.
list_slots()
{
    local link target
    for link in "$root"/dev/disk/by-slot/*; do
        target=$(readlink -f "$link") || continue
        if [[ ${link##*/} =~ ^[0-9]{1,9}$ && $target == */dev/* ]]; then
            printf 'slot %d %s\n' "$((10#${link##*/}))" "${target##*/}"
        fi
    done
}

# "serial DEVICE TEXT" from the SCSI drives' own pages, for a machine where udev has not read them. A page has a header
# of four bytes.
list_serials()
{
    local page device
    for page in "$root"/sys/block/*/device/vpd_pg80; do
        if [[ -r $page ]]; then
            device=${page%/device/vpd_pg80}
            printf 'serial %s %s\n' "${device##*/}" "$(dd if="$page" bs=1 skip=4 2>/dev/null | tr -cd ' -~')"
        fi
    done
}

# Reads list_slots and list_serials, then the JSON texts of findmnt and lsblk. JSON strings hold no line feed, so each line can be cut
# into tokens for itself. Fails when a text is no JSON or is cut off.
print_drives()
{
    awk -v root="$root" '
        BEGIN { depth = objects = drives = next_slot = 0; object[0] = 0 }

        # Cuts one line into tokens.
        function scan(text, token) {
            while (text != "") {
                if (match(text, /^[ \t\r]+/)) {
                    text = substr(text, RLENGTH + 1)
                    continue
                }
                if (match(text, /^"([^"\\]|\\.)*"/)) {
                    token = substr(text, 1, RLENGTH)
                } else if (match(text, /^[-+.0-9a-zA-Z]+/)) {
                    token = substr(text, 1, RLENGTH)
                } else {
                    token = substr(text, 1, 1)
                }
                text = substr(text, length(token) + 1)
                take(token)
            }
        }

        # depth: open brackets; open[]: their kinds; object[]: number of the object; name[]: the member being read.
        function take(token, first) {
            first = substr(token, 1, 1)
            if (first == "{" || first == "[") {
                depth++
                open[depth] = first
                name[depth] = ""
                named[depth] = 0
                object[depth] = object[depth - 1]
                if (first == "{") {
                    objects++
                    parent[objects] = object[depth - 1]
                    list[objects] = depth == 1 ? "" : name[1]
                    object[depth] = objects
                }
            } else if (first == "}" || first == "]") {
                if (depth == 0 || open[depth] != (first == "}" ? "{" : "[")) {
                    broken = 1
                    return
                }
                depth--
                named[depth] = 0
            } else if (length(token) == 1 && index(",:", first) > 0) {
                return
            } else if (first == "\"" && length(token) > 1) {
                value(unquoted(token))
            } else if (token ~ /^[-0-9a-z]/) {
                value(token == "null" ? "" : token)
            } else {
                broken = 1
            }
        }

        function value(text) {
            if (depth == 0) {
                broken = 1
            } else if (open[depth] == "{" && !named[depth]) {
                complete = complete || (depth == 1 && text == "blockdevices")
                name[depth] = text
                named[depth] = 1
            } else if (open[depth] == "{") {
                field[object[depth], name[depth]] = text
                named[depth] = 0
            }
        }

        # Control characters become blanks: a value has to stay on its line. Other \u escapes are not used by the two
        # tools and stay as they are.
        function unquoted(token, text, result, escape) {
            text = substr(token, 2, length(token) - 2)
            result = ""
            while (match(text, /\\./)) {
                escape = substr(text, RSTART + 1, 1)
                result = result substr(text, 1, RSTART - 1)
                text = substr(text, RSTART + 2)
                if (escape == "u" && text ~ /^00[01][0-9a-fA-F]/) {
                    text = substr(text, 5)
                    result = result " "
                } else if (index("bfnrt", escape) > 0) {
                    result = result " "
                } else if (escape == "u") {
                    result = result "\\u"
                } else {
                    result = result escape
                }
            }
            return result text
        }

        function is_set(text) { return text == "true" || text == "1" }

        function trimmed(text) {
            gsub(/^[ \t\r\n]+|[ \t\r\n]+$/, "", text)
            return text
        }

        # The mount paths of a file system, one on each line. Sources like "/dev/sda1[/sub]" are parts of a file
        # system mounted elsewhere; they count when the whole is not mounted.
        function collect_mounts(i, source, target) {
            for (i = 1; i <= objects; i++) {
                source = field[i, "source"]
                target = field[i, "target"]
                if (list[i] != "filesystems" || source !~ /^\/dev\// || target == "") {
                    continue
                }
                if (sub(/\[.*\]$/, "", source) == 0) {
                    whole[source] = whole[source] target "\n"
                } else if (!(source in part)) {
                    part[source] = target "\n"
                }
            }
        }

        function mounts_of(device, path, paths) {
            path = field[device, "path"]
            paths = path in whole ? whole[path] : path in part ? part[path] : ""
            if (paths == "" && field[device, "mountpoint"] != "") {
                paths = field[device, "mountpoint"] "\n"
            }
            return paths
        }

        # The name by which the controller tools know a volume, empty for a plain drive. MegaRAID drivers show volumes
        # from channel 2 on, 128 to a channel; aacraid on channel 0, one to a target; smartpqi on channel 1, one to a LUN.
        function volume_name(device, address, driver, file) {
            if (split(field[device, "hctl"], address, ":") != 4) {
                return ""
            }
            file = root "/sys/class/scsi_host/host" address[1] "/proc_name"
            driver = ""
            getline driver < file
            close(file)
            if (driver == "megaraid_sas" && address[2] >= 2) {
                return "/c0/v" ((address[2] % 2) * 128 + address[3])
            }
            if (driver == "smartpqi" && address[2] == 1) {
                return address[4]
            }
            return driver == "aacraid" && address[2] == 0 ? address[3] : ""
        }

        function has_udev_record(device, file, line, found) {
            file = root "/run/udev/data/b" trimmed(field[device, "maj:min"])
            found = (getline line < file) >= 0
            close(file)
            return found
        }

        function sort_key(device, address, key, text) {
            if (split(field[device, "hctl"], address, ":") == 4) {
                return sprintf("0%06d%06d%06d%012d", address[1], address[2], address[3], address[4])
            }
            key = "1"
            text = field[device, "name"]
            while (match(text, /[0-9]+/)) {
                key = key substr(text, 1, RSTART - 1) sprintf("%09d", substr(text, RSTART, RLENGTH))
                text = substr(text, RSTART + RLENGTH)
            }
            return key text
        }

        # All about one drive or volume from itself and whatever is built on it.
        function examine(top, i, up, count, path, paths, size) {
            partitions = unfinished = uses = largest = 0
            mount = mount_type = all_mounts = any_type = ""
            for (i = 1; i <= objects; i++) {
                for (up = i; up != top && up != 0; up = parent[up]) {
                }
                if (up != top) {
                    continue
                }
                uses += i != top
                partitions += parent[i] == top && field[i, "type"] == "part"
                unfinished += parent[i] == top && field[i, "partlabel"] ~ /^corvane-(new|data)$/
                if (any_type == "") {
                    any_type = field[i, "fstype"]
                }
                size = field[i, "size"] + 0
                count = split(mounts_of(i), paths, "\n")
                for (path = 1; path < count; path++) {
                    uses++
                    if (paths[path] !~ /^\//) {
                        continue
                    }
                    all_mounts = all_mounts paths[path] "\n"
                    if (mount == "" || paths[path] == "/" || (size > largest && mount != "/")) {
                        mount = paths[path]
                        mount_type = field[i, "fstype"]
                        largest = size
                    }
                }
            }
        }

        function print_drive(device, in_bay, removable, serial, type, needs_prep) {
            examine(device)
            in_bay = field[device, "name"] in slot
            removable = !in_bay && (is_set(field[device, "rm"]) || is_set(field[device, "hotplug"]))
            needs_prep = !removable && field[device, "fstype"] == "" && !is_set(field[device, "ro"]) &&
                         field[device, "size"] + 0 > 0 && has_udev_record(device) &&
                         ((uses == 0 && field[device, "pttype"] == "") || (uses == 1 && unfinished == 1))
            print "drive-index=" (in_bay ? slot[field[device, "name"]] : next_slot++)
            print "drive-name=" field[device, "name"]
            serial = trimmed(field[device, "serial"])
            if (serial == "") {
                serial = trimmed(page_serial[field[device, "name"]])
            }
            if (serial != "") {
                print "drive-serial=" serial
            }
            print "drive-partitions=" partitions
            print "drive-removable=" (removable ? 1 : 0)
            if (mount != "") {
                print "drive-fspath=" mount
            }
            type = mount != "" ? mount_type : any_type
            if (type != "") {
                print "drive-fstype=" type
            }
            print "drive-needs-prep=" (needs_prep ? 1 : 0)
        }

        function print_volume(device, name, count, path, paths) {
            examine(device)
            count = split(all_mounts, paths, "\n")
            for (path = 1; path < count; path++) {
                print "raid-volume=" name
                print "raid-fspath=" paths[path]
            }
        }

        /^slot / {
            slot[$3] = $2
            if ($2 >= next_slot) {
                next_slot = $2 + 1
            }
            next
        }

        /^serial / {
            page_serial[$2] = substr($0, length($2) + 9)
            next
        }

        { scan($0) }

        END {
            if (broken || depth != 0 || !complete) {
                exit 1
            }
            collect_mounts()
            for (i = 1; i <= objects; i++) {
                if (list[i] == "blockdevices" && parent[parent[i]] == 0 && field[i, "type"] == "disk" &&
                    field[i, "name"] !~ /^(zram|ram|loop|nbd|fd|rbd|drbd|md|mtdblock)/) {
                    key[i] = sort_key(i)
                    for (at = drives++; at > 0 && key[order[at - 1]] > key[i]; at--) {
                        order[at] = order[at - 1]
                    }
                    order[at] = i
                }
            }
            for (at = 0; at < drives; at++) {
                volume = volume_name(order[at])
                if (volume == "") {
                    print_drive(order[at])
                } else {
                    print_volume(order[at], volume)
                }
            }
        }'
}

# has_readable_ends DEVICE: each end within 20 seconds, and all drives together within a minute. A dying drive can keep its
# reader for minutes, and nobody would get to know about the others meanwhile.
has_readable_ends()
{
    local sectors at found seconds bytes=$((4 * 1024 * 1024))
    sectors=$(first_line "$root/sys/class/block/$1/size")
    [[ $sectors =~ ^[0-9]+$ ]] || return 1
    for at in 0 $((sectors * 512 - bytes)); do
        seconds=$((60 - SECONDS < 20 ? 60 - SECONDS : 20))
        found=
        ((seconds > 0)) && read -r -t "$seconds" found < <(
            exec 2>/dev/null
            dd if="$root/dev/$1" bs=1M count=4 iflag=direct,skip_bytes skip="$at" | wc -c
        )
        [[ $found == "$bytes" ]] || return 1
    done
}

# Passes the lines of print_drives on.
check_needs_prep()
{
    local line name=
    while IFS= read -r line; do
        case $line in
        drive-name=*) name=${line#*=} ;;
        drive-needs-prep=1) has_readable_ends "$name" || line=drive-needs-prep=0 ;;
        esac
        printf '%s\n' "$line"
    done
}

columns=NAME,PATH,MAJ:MIN,TYPE,SERIAL,HCTL,RM,HOTPLUG,RO,SIZE,MOUNTPOINT,FSTYPE,PTTYPE,PARTLABEL
if ! blocks=$("$lsblk" -J -b -o "$columns"); then
    echo "sysinfo.sh: lsblk failed"
    exit 1
fi
# findmnt exits with 1 when it lists nothing, which is no failure; without it, lsblk knows one mount of each device.
mounts=$("$findmnt" -J -o SOURCE,TARGET) || mounts=

print_board
print_machine
print_installation
if ! drives=$({ list_slots; list_serials; printf '%s\n' "$mounts" "$blocks"; } | print_drives); then
    echo "sysinfo.sh: cannot read the list of drives"
    exit 1
fi
if [[ -n $drives ]]; then
    check_needs_prep <<<"$drives"
fi
