#!/bin/bash
# Runs config_core_pattern.sh on files in place of the kernel's.  config_core_pattern_test.sh SCRIPT
# shellcheck source=tests/support/script.sh
. "${0%/*}/../support/script.sh"
script=$1
ours="$work/cores/core.%e.%p.%t"

# fresh NAME PATTERN: a machine on which the script has never run.
fresh()
{
    name=$1
    rm -rf "$work/cores" "$work/run"
    printf '%s\n' "$2" >"$work/pattern"
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

# do_all ARGUMENT...: runs of the script, which succeed.
do_all()
{
    local argument
    for argument in "$@"; do
        run 0 "$argument"
    done
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
    fresh "[$before] is put back exactly" "$before"
    run 0 enable
    pattern "$ours"
    check [ "$(stat -c %a "$work/cores")" = 700 ]
    run 0 disable
    pattern "$before"
    check [ ! -e "$work/run/saved" ]
done

fresh "enabling twice keeps the first pattern" old
do_all enable enable disable
pattern old
do_all enable disable
pattern old

fresh "what somebody set in between is kept by disable and put back after enable" old
run 0 enable
echo theirs >"$work/pattern"
run 0 disable
pattern theirs
run 0 enable
echo newer >"$work/pattern"
do_all enable disable
pattern newer

fresh "disable without enable" old
run 0 disable
pattern old

fresh "disable with nothing kept gives the kernel's default" "$ours"
run 0 disable
pattern core

fresh "wrong arguments touch nothing" old
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

fresh "a directory that cannot be made" old
directory=$work/pattern/cores run 1 enable
pattern old

fresh "a place to keep it that cannot be made" old
saved_file=$work/pattern/saved run 1 enable
pattern old

# A device takes every write and gives back something else, as the kernel does with a pattern that is too long.
fresh "a pattern that is not taken" old
pattern_file=/dev/null run 1 enable
check [ -s "$work/err" ]
check [ ! -e "$work/run/saved" ]

finish
