#!/bin/bash
# Runs config_core_pattern.sh on files in place of the kernel's.  config_core_pattern_test.sh SCRIPT
# shellcheck source=tests/support/script.sh
. "${0%/*}/../support/script.sh"
script=$1
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
    [[ $status -eq $expected && ! -s $work/out ]] ||
        fail "$name: '$*' ended with $status, printed $(cat "$work/out" "$work/err")"
}

# pattern TEXT: what the kernel has now.
pattern()
{
    expect "$name: pattern" "$1" "$(cat "$work/pattern")"
}

# check COMMAND...: fails unless the command succeeds.
check()
{
    "$@" || fail "$name: $*"
}

for before in '|/usr/lib/handler  %P \n %u ' ''; do
    name="[$before] is put back exactly"
    fresh "$before"
    run 0 enable
    pattern "$ours"
    check [ "$(stat -c %a "$work/cores")" = 700 ]
    run 0 disable
    pattern "$before"
    check [ ! -e "$work/run/saved" ]
done

name="enabling twice keeps the first pattern"
fresh old
run 0 enable
run 0 enable
run 0 disable
pattern old
run 0 enable
run 0 disable
pattern old

name="what somebody set in between is kept by disable and put back after enable"
fresh old
run 0 enable
echo theirs >"$work/pattern"
run 0 disable
pattern theirs
run 0 enable
echo newer >"$work/pattern"
run 0 enable
run 0 disable
pattern newer

name="disable without enable"
fresh old
run 0 disable
pattern old

name="disable with nothing kept gives the kernel's default"
fresh "$ours"
run 0 disable
pattern core

name="wrong arguments touch nothing"
fresh old
for arguments in '' on ENABLE 'enable enable' 'enable disable' --help; do
    # shellcheck disable=SC2086 # split on purpose
    run 2 $arguments
done
run 2 ''
run 2 'enable '
pattern old
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
pattern old

name="a place to keep it that cannot be made"
fresh old
saved_file=$work/pattern/saved run 1 enable
pattern old

# A device takes every write and gives back something else, as the kernel does with a pattern that is too long.
name="a pattern that is not taken"
fresh old
pattern_file=/dev/null run 1 enable
check [ -s "$work/err" ]
check [ ! -e "$work/run/saved" ]

finish
