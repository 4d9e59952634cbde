#!/bin/bash
# Runs config_core_pattern.sh on files in place of the kernel's.  config_core_pattern_test.sh SCRIPT
set -eu

script=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
ours="$work/cores/core.%e.%p.%t"

# fresh PATTERN: a machine on which the script has never run.
fresh()
{
    rm -rf "$work/cores" "$work/run"
    printf '%s\n' "$1" >"$work/pattern"
}

# run STATUS ARGUMENT...: runs the script and compares its exit status.
run()
{
    local expected=$1 status=0
    shift
    CORE_PATTERN_FILE=${pattern_file:-$work/pattern} CORE_DIRECTORY=${directory:-$work/cores} \
        CORE_SAVED_FILE=${saved_file:-$work/run/saved} "$script" "$@" >"$work/out" 2>"$work/err" || status=$?
    if [ "$status" -ne "$expected" ] || [ -s "$work/out" ]; then
        echo "FAILED: $name: '$*' ended with $status, printed $(cat "$work/out" "$work/err")" >&2
        failures=$((failures + 1))
    fi
}

# expect PATTERN: what the kernel has now.
expect()
{
    if [ "$(cat "$work/pattern")" != "$1" ]; then
        echo "FAILED: $name: pattern is '$(cat "$work/pattern")'" >&2
        failures=$((failures + 1))
    fi
}

# check COMMAND...: fails unless the command succeeds.
check()
{
    if ! "$@"; then
        echo "FAILED: $name: $*" >&2
        failures=$((failures + 1))
    fi
}

name="a pipe with blanks and backslashes is put back exactly"
fresh '|/usr/lib/handler  %P \n %u '
run 0 enable
expect "$ours"
check [ "$(stat -c %a "$work/cores")" = 700 ]
run 0 disable
expect '|/usr/lib/handler  %P \n %u '
check [ ! -e "$work/run/saved" ]

name="an empty pattern is put back"
fresh ''
run 0 enable
expect "$ours"
run 0 disable
expect ''

name="enabling twice keeps the first pattern"
fresh old
run 0 enable
run 0 enable
run 0 disable
expect old
run 0 enable
run 0 disable
expect old

name="what somebody set in between is kept by disable and put back after enable"
fresh old
run 0 enable
echo theirs >"$work/pattern"
run 0 disable
expect theirs
run 0 enable
echo newer >"$work/pattern"
run 0 enable
run 0 disable
expect newer

name="disable without enable"
fresh old
run 0 disable
expect old

name="disable with nothing kept gives the kernel's default"
fresh "$ours"
run 0 disable
expect core

name="wrong arguments touch nothing"
fresh old
for arguments in '' on ENABLE 'enable enable' 'enable disable' --help; do
    # shellcheck disable=SC2086 # split on purpose
    run 2 $arguments
done
run 2 ''
run 2 'enable '
expect old
check [ ! -e "$work/cores" ]

name="no pattern file"
rm "$work/pattern"
run 1 enable
run 1 disable
check [ ! -e "$work/pattern" ]
check [ ! -e "$work/run/saved" ]

name="a directory that cannot be made"
fresh old
directory=$work/pattern/cores run 1 enable
expect old

name="a place to keep it that cannot be made"
fresh old
saved_file=$work/pattern/saved run 1 enable
expect old

# A device takes every write and gives back something else, as the kernel does with a pattern that is too long.
name="a pattern that is not taken"
fresh old
pattern_file=/dev/null run 1 enable
check [ -s "$work/err" ]
check [ ! -e "$work/run/saved" ]

[ "$failures" -eq 0 ]
