#!/usr/bin/env bash
# Builds and runs every benchmark and prints the README's table. Each
# comparison runs beside its baseline in the same run; the ratios are what to compare.
# UDP port 9000 must be free (the receive benchmark listens there).
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages "${DESK_PACKAGES[@]}" "${BENCH_PACKAGES[@]}"
build "$BUILD_DIR" -DOSC_BENCH=ON >/dev/null
bench="$BUILD_DIR/bench"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
cd "$out"   # the backend's debug log files land here
json() { echo "--benchmark_out_format=json" "--benchmark_out=$out/$1.json"; }
# The debug output of hundreds of thousands of log lines goes to /dev/null, not the terminal.
"$bench/bench_osc" --benchmark_repetitions=5 $(json osc) >/dev/null 2>&1
"$bench/bench_send" --benchmark_repetitions=3 $(json send) >/dev/null 2>&1
"$bench/bench_scenario" $(json scenario) >/dev/null 2>&1
"$bench/bench_receive" $(json receive) >/dev/null 2>&1
# Each desk benchmark in a process of its own, so that none inherits another's memory.
for desk in Desk_StartAndLoad64x16 Desk_Load1024 Desk_Load4096 Desk_Load16384 Desk_Scroll16384 Desk_Feedback16384; do
    xvfb-run -a -s "-screen 0 1600x1000x24" "$bench/bench_desk" --benchmark_filter="^$desk/" $(json "$desk") \
        >/dev/null 2>&1
done
python3 "$ROOT/bench/report.py" "$out"
