#!/bin/bash
# Runs each fuzz target for SECONDS (10 unless given) over its seeds and stops with an error at the first find.
# usage: run.sh [SECONDS [BUILD_DIR]]        BUILD_DIR: build/fuzz, made by `cmake --preset fuzz`
set -eu
source_dir=$(cd "$(dirname "$0")/../.." && pwd)
seconds=${1:-10}
build_dir=${2:-$source_dir/build/fuzz}
finds=$build_dir/finds
corpus=$build_dir/corpus
# Files of the targets are kept in memory where there is such a place, because a manager saves with care.
[ ! -d /dev/shm ] || export TMPDIR=${TMPDIR:-/dev/shm}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

ran=0
for source in "$source_dir"/tests/fuzz/Fuzz*.cpp; do
    name=$(basename "$source" .cpp)
    seeds=$source_dir/tests/data/fuzz/$name
    mkdir -p "$finds/$name" "$corpus/$name"
    if [ ! -d "$seeds" ] || [ -z "$(ls -A "$seeds")" ]; then
        echo "$name: no seeds in tests/data/fuzz/$name" >&2
        exit 1
    fi
    if [ ! -x "$build_dir/tests/fuzz/$name" ]; then
        echo "$name: not built in $build_dir" >&2
        exit 1
    fi
    log=$finds/$name.log
    # What is learnt goes to the build folder, so that the seeds stay those that were written on purpose.
    if ! "$build_dir/tests/fuzz/$name" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 -max_len=65536 \
        -print_final_stats=1 -artifact_prefix="$finds/$name/" "$corpus/$name" "$seeds" >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        echo "$name: found something, see $finds/$name" >&2
        exit 1
    fi
    echo "$name: $(grep -o 'number_of_executed_units: [0-9]*' "$log" | grep -o '[0-9]*$') runs, no find"
    ran=$((ran + 1))
done
echo "$ran fuzz targets ran"
[ "$ran" -gt 0 ]
