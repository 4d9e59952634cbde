#!/bin/bash
# Switches core files on or off for the whole machine. Run as root, by the plug-in when the file "enabledumps" in
# its working directory comes or goes.
#   config_core_pattern.sh enable     core files go to a directory, which only root can read when it is new
#   config_core_pattern.sh disable    the kernel's pattern is again what it was before
#
# Exit status: 0 done, or nothing was left to do; 1 it could not be done and the pattern is as it was; 2 wrong
# arguments, nothing was touched.
#
# The pattern from before is kept in a file that does not survive a restart of the machine, as the kernel's setting
# does not. Enabling twice keeps the first pattern. Disabling leaves alone a pattern that somebody else has set in
# between. How large a core file may be is the limit of the process, which the plug-in sets by itself.
#
# Meant for tests only: CORE_PATTERN_FILE, CORE_DIRECTORY and CORE_SAVED_FILE replace the three paths below.

set -u
export LC_ALL=C

pattern_file=${CORE_PATTERN_FILE:-/proc/sys/kernel/core_pattern}
directory=${CORE_DIRECTORY:-/var/lib/corvane/cores}
saved_file=${CORE_SAVED_FILE:-/run/corvane/core_pattern.saved}

# Name, process and time; the time keeps a process number that is used again from replacing the older file.
our_pattern=$directory/core.%e.%p.%t
kernel_default=core

fail()
{
    echo "config_core_pattern.sh: $1" >&2
    exit 1
}

# The first line of a file, exactly; fails when it cannot be read. A pattern may be empty.
read_line()
{
    local line=
    if [ ! -r "$1" ] || [ -d "$1" ]; then
        return 1
    fi
    IFS= read -r line <"$1" || true # false without a line feed at the end
    printf '%s' "$line"
}

# Writes a pattern and looks whether the kernel took it whole: it cuts what is too long, without an error.
set_pattern()
{
    printf '%s\n' "$1" >"$pattern_file" && [ "$(read_line "$pattern_file")" = "$1" ]
}

# Complete or not at all: a saved pattern that was cut off would be put back one day.
save_pattern()
{
    mkdir -p "$(dirname "$saved_file")" && printf '%s\n' "$1" >"$saved_file.new" && mv "$saved_file.new" "$saved_file"
}

enable()
{
    local current=$1
    if [ ! -d "$directory" ]; then
        { mkdir -p "$directory" && chmod 0700 "$directory"; } || fail "cannot make $directory"
    fi
    if [ "$current" = "$our_pattern" ]; then
        return
    fi
    save_pattern "$current" || fail "cannot keep the pattern in $saved_file"
    if ! set_pattern "$our_pattern"; then
        set_pattern "$current"
        rm -f "$saved_file"
        fail "cannot set the pattern $our_pattern"
    fi
}

disable()
{
    local current=$1 previous=$kernel_default
    if [ "$current" = "$our_pattern" ]; then
        if [ -e "$saved_file" ]; then
            previous=$(read_line "$saved_file") || fail "cannot read $saved_file"
        fi
        if ! set_pattern "$previous"; then
            set_pattern "$current"
            fail "cannot set the pattern $previous"
        fi
    fi
    rm -f "$saved_file" || echo "config_core_pattern.sh: cannot remove $saved_file" >&2 # the next enabling replaces it
}

if [ $# -ne 1 ] || { [ "$1" != enable ] && [ "$1" != disable ]; }; then
    echo "usage: config_core_pattern.sh enable|disable" >&2
    exit 2
fi
current=$(read_line "$pattern_file") || fail "cannot read $pattern_file"
"$1" "$current"
