#!/usr/bin/env bash
# Runs all benchmarks of the release build and prints each asked figure beside its limit.
#   bench/run.sh            about two minutes
#   bench/run.sh --quick    a few seconds: shows that they run, not what they measure
set -euo pipefail
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

csv=$(mktemp)
trap 'rm -f "$csv"' EXIT
measure() {
    "$build/$1" --benchmark_repetitions="$repetitions" --benchmark_min_time="$min_time" \
        --benchmark_enable_random_interleaving=true --benchmark_format=csv 2>/dev/null >"$csv"
}
# median NAME [COLUMN]: median of the repetitions, of the real time (column 3) or the processor time (column 4)
median() {
    awk -F, -v name="\"$1\"" -v column="${2:-3}" '$1 == name && $column > 0 { v[n++] = $column }
        END {
            if (n == 0) exit 1
            for (i = 1; i < n; ++i) for (j = i; j > 0 && v[j] < v[j - 1]; --j) { t = v[j]; v[j] = v[j - 1]; v[j - 1] = t }
            printf "%.3f", v[int(n / 2)]
        }' "$csv"
}
ratio() { awk -v a="$1" -v b="$2" -v d="${3:-1}" 'BEGIN { printf "%.2f", a / b / d }'; }

measure bench_smartctl
ours=$(median ParseDiskInfoWhole 4)
echo "ParseDiskInfo, 37 KB report, over RapidJSON's bare DOM parse:  $(ratio "$ours" "$(median RapidJsonTree 4)")  (limit 1.25)"
echo "ParseDiskInfo, 37 KB report, over nlohmann's parse:            $(ratio "$ours" "$(median NlohmannTree 4)")  (limit 0.25)"

measure bench_selftest
echo "Self-test report, 60 disks, read and taken up, over TinyXML:   $(ratio "$(median ReportWhole 4)" "$(median TinyXmlTree 4)")  (limit 2.00)"

measure bench_storage_pass
echo "Storage pass, cost per disk, 256 disks over 16:                $(ratio "$(median FullPass/256/real_time)" \
    "$(median FullPass/16/real_time)" 16)  (limit 1.50)"

measure bench_storcli
echo "ParseDisksInfo, 92 KB list of 29 drives, over RapidJSON's parse: $(ratio "$(median ParseDisksInfoWhole 4)" "$(median RapidJsonTree 4)")  (limit 1.00)"

measure bench_controller_pass
for kind in PassThroughTable PassThroughSmartctl; do
    small=$(median $kind/16/manual_time)
    echo "$kind, ms of the main loop, 60 controller disks:  $(median $kind/60/manual_time)  (limit 5.00)"
    echo "$kind, cost per disk, 240 disks over 16:          $(ratio "$(median $kind/240/manual_time)" "$small" 15)  (limit 1.50)"
done

measure bench_log
echo "Log call below the threshold over the bare query:              $(ratio "$(median LineBelowThreshold 4)" \
    "$(median QueryAlone 4)")  (limit 1.50)"
echo "Allocations, line below the threshold and line that passes:    $(awk -F, '
    NR == 1 { for (i = 1; i <= NF; ++i) if ($i == "\"allocations\"") c = i }
    $1 == "\"LineBelowThreshold\"" { a += $c } $1 == "\"LineThatPasses\"" { b += $c } END { print a + 0, b + 0 }' "$csv")  (limit 0 0)"

"$build/bench_memory" "$passes"
"$build/bench_heartbeats" "$seconds"
"$build/bench_hwmon" "$polls"
