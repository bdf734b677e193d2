#!/usr/bin/env bash
# Builds and runs every benchmark and prints the README's table. Each
# comparison runs beside its baseline in the same run; the ratios are what to compare.
# Every figure is the median of at least three repetitions, interleaved with those of its
# baseline where the benchmark allows it, so that a busy moment of the machine falls on both.
# UDP ports 9000 and 9002 must be free (the receive benchmark listens there): as root, each
# benchmark runs in a network namespace of its own, as tools/faults.sh runs the tests.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

install_packages "${DESK_PACKAGES[@]}" "${BENCH_PACKAGES[@]}"
build "$BUILD_DIR" -DOSC_BENCH=ON >/dev/null
bench="$BUILD_DIR/bench"
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
cd "$out"   # the backend's debug log files land here

# Its own loopback, up: the ports are the benchmark's, and the loopback's drop counter
# counts its datagrams only.
isolated=()
if [ "$(id -u)" -eq 0 ] && command -v ip >/dev/null && unshare -n true 2>/dev/null; then
    isolated=(unshare -n sh -c 'ip link set lo up && exec "$@"' isolated)
fi
# run NAME COMMAND...: the results in NAME.json. The debug output of hundreds of thousands
# of log lines goes to /dev/null, not the terminal.
run() {
    local name="$1"
    shift
    "${isolated[@]}" "$@" --benchmark_out_format=json "--benchmark_out=$out/$name.json" >/dev/null 2>&1
}
interleaved=--benchmark_enable_random_interleaving=true
xvfb=(xvfb-run -a -s "-screen 0 1600x1000x24")

# Three runs in a row: the ",ffs" goal must hold in each. Nine repetitions a run: a busy
# moment of the machine moves a median of five.
for i in 1 2 3; do
    run "osc-$i" "$bench/bench_osc" --benchmark_repetitions=9 "$interleaved"
done
run send "$bench/bench_send" --benchmark_repetitions=5 "$interleaved"
run receive "$bench/bench_receive" "$interleaved"
run scenario "$bench/bench_scenario" --benchmark_repetitions=3
# The first frame counts from the program's start: one start a run.
for i in 1 2 3; do
    run "desk-$i" "${xvfb[@]}" "$bench/bench_desk" --benchmark_filter=StartAndLoad
done
run desk-log "${xvfb[@]}" "$bench/bench_desk" --benchmark_filter=Send --benchmark_repetitions=3 "$interleaved"
# Each desk-size benchmark in a process of its own, so that none inherits another's memory.
for desk in Desk_Load1024 Desk_Load4096 Desk_Load16384 Desk_Scroll16384 Desk_Feedback16384 Desk_LearnFlood5000; do
    run "$desk" "${xvfb[@]}" "$bench/bench_desk" --benchmark_filter="^$desk/"
done
python3 "$ROOT/bench/report.py" "$out"
