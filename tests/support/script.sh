# shellcheck shell=bash
# What the tests of the scripts share: a directory of their own, stand-ins for tools, failures, a loop device.
set -eu

export work
work=$(mktemp -d)
mkdir "$work/bin"
loop=
failures=0

# shellcheck disable=SC2317 # called by the trap
clean()
{
    if [[ -n $loop ]]; then
        umount -A "$loop"p1 "$loop" 2>/dev/null || true
        losetup -d "$loop" || true
    fi
    rm -rf "$work"
}
trap clean EXIT

# fail TEXT...
fail()
{
    echo "FAILED: $*" >&2
    failures=$((failures + 1))
}

# expect NAME EXPECTED ACTUAL
expect()
{
    [[ $2 == "$3" ]] || fail "$1: expected [$2], found [$3]"
}

# same NAME EXPECTED-FILE ACTUAL-FILE
same()
{
    diff -u "$2" "$3" >&2 || fail "$1"
}

# stub NAME: a command from standard input.
stub()
{
    { echo '#!/bin/bash'; cat; } >"$work/bin/$1"
    chmod +x "$work/bin/$1"
}

finish()
{
    exit $((failures > 0))
}

# attach IMAGE: a loop device of 400 MiB in $loop. The test ends where there can be none.
attach()
{
    truncate -s 400M "$1"
    if [[ $(id -u) -ne 0 ]] || ! command -v parted mkfs.xfs >/dev/null ||
        ! loop=$(losetup --find --show --partscan "$1" 2>/dev/null); then
        echo "without root, parted, mkfs.xfs or loop devices: the real tools were not tried"
        finish
    fi
}
