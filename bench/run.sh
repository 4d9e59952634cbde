#!/usr/bin/env bash
# Runs all benchmarks of the release build and prints each asked figure beside its limit.
#   bench/run.sh            about two minutes
#   bench/run.sh --quick    a few seconds: shows that they run, not what they measure
set -euo pipefail
shopt -s inherit_errexit
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=build/release/bench
if [ "${1:-}" = --quick ]; then
    repetitions=1 min_time=0.02 passes=120 seconds=2 polls=1000
else
    repetitions=9 min_time=0.2 passes=1000 seconds=60 polls=100000
fi
cmake --preset release >/dev/null
cmake --build --preset release --target bench_smartctl bench_storcli bench_controller_pass bench_selftest bench_log \
    bench_storage_pass bench_memory bench_heartbeats bench_hwmon

results=$(mktemp)
errors=$(mktemp)
trap 'rm -f "$results" "$errors"' EXIT

# measure BENCHMARK: all its rows in random order. Fails, with what was said, when it dies or a row reports an error.
measure() {
    "$build/$1" --benchmark_repetitions="$repetitions" --benchmark_min_time="$min_time" \
        --benchmark_enable_random_interleaving=true --benchmark_format=json 2>"$errors" >"$results" || {
        echo "bench/run.sh: $1 failed:" >&2
        cat "$errors" >&2
        return 1
    }
    jq '.benchmarks[] | select(.error_occurred) | error("\(.name): \(.error_message)")' "$results"
}
# median NAME [FIELD]: of the repetitions; fails when there is no such row
median() {
    jq --arg name "$1" --arg field "${2:-cpu_time}" '
        [.benchmarks[] | select(.name == $name and .run_type == "iteration") | .[$field]] |
        if length == 0 then error("no row " + $name) else sort | .[length / 2 | floor] end' "$results"
}
# total NAME FIELD: sum over the repetitions
total() {
    jq --arg name "$1" --arg field "$2" '
        [.benchmarks[] | select(.name == $name and .run_type == "iteration") | .[$field]] |
        if length == 0 then error("no row " + $name) else add end' "$results"
}
# ratio NAME OTHER [FIELD [DIVISOR]]: of two medians
ratio() {
    local above below
    above=$(median "$1" "${3:-cpu_time}")
    below=$(median "$2" "${3:-cpu_time}")
    awk -v a="$above" -v b="$below" -v d="${4:-1}" 'BEGIN { printf "%.2f", a / b / d }'
}
# figure TEXT LIMIT COMMAND...: one line with what the command prints
figure() {
    local text=$1 limit=$2 value
    shift 2
    value=$("$@")
    printf '%-62s %s  (limit %s)\n' "$text:" "$value" "$limit"
}
milliseconds() { median "$@" | awk '{ printf "%.2f", $1 }'; }
allocations() {
    local silent passing
    silent=$(total LineBelowThreshold allocations)
    passing=$(total LineThatPasses allocations)
    echo "$silent $passing"
}

measure bench_smartctl
figure "ParseDiskInfo, 37 KB report, over RapidJSON's bare DOM parse" 1.25 ratio ParseDiskInfoWhole RapidJsonTree
figure "ParseDiskInfo, 37 KB report, over nlohmann's parse" 0.25 ratio ParseDiskInfoWhole NlohmannTree

measure bench_selftest
figure "Self-test report, 60 disks, read and taken up, over TinyXML" 2.00 ratio ReportWhole TinyXmlTree

measure bench_storage_pass
figure "Storage pass, cost per disk, 256 disks over 16" 1.50 \
    ratio FullPass/256/real_time FullPass/16/real_time real_time 16

measure bench_storcli
figure "ParseDisksInfo, 92 KB, 29 drives, over RapidJSON's parse" 1.00 ratio ParseDisksInfoWhole RapidJsonTree

measure bench_controller_pass
for kind in PassThroughTable PassThroughSmartctl; do
    figure "$kind, ms of the main loop, 60 controller disks" 5.00 milliseconds $kind/60/manual_time real_time
    figure "$kind, cost per disk, 240 disks over 16" 1.50 \
        ratio $kind/240/manual_time $kind/16/manual_time real_time 15
done

measure bench_log
figure "Log call below the threshold over the bare query" 1.50 ratio LineBelowThreshold QueryAlone
figure "Allocations, line below the threshold and line that passes" "0 0" allocations

"$build/bench_memory" "$passes"
"$build/bench_heartbeats" "$seconds"
"$build/bench_hwmon" "$polls"
