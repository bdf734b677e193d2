#!/usr/bin/env python3
"""Turns the benchmarks' JSON results into the README's table: each target beside the
figure measured in the same run, and the ratio to its baseline.

usage: report.py RESULTS_DIR
"""
import json
import pathlib
import sys

results = {}
for path in pathlib.Path(sys.argv[1]).glob("*.json"):
    for run in json.loads(path.read_text())["benchmarks"]:
        name = run["run_name"].split("/")[0]
        if run.get("aggregate_name") in (None, "median"):
            results[name] = run


def ns(name):
    return results[name]["real_time"] * {"ns": 1, "us": 1e3, "ms": 1e6}[results[name]["time_unit"]]


def counter(name, key):
    return results[name][key]


rows = []


def row(target, measured, ratio, met):
    rows.append(f"| {target} | {measured} | {ratio} | {'yes' if met else '**no**'} |")


r = ns("Encode_Channel_Ours") / ns("Encode_Channel_Oscpack")
row("Encode /osc/channel: at most 0.5x oscpack", f"{ns('Encode_Channel_Ours'):.1f} ns (oscpack {ns('Encode_Channel_Oscpack'):.1f} ns, liblo {ns('Encode_Channel_Liblo'):.1f} ns)", f"{r:.2f}x oscpack", r <= 0.5)
r = ns("Encode_Typed_ffs_Ours") / ns("Encode_Typed_ffs_Oscpack")
row("Encode tags \"ffs\": no slower than oscpack", f"{ns('Encode_Typed_ffs_Ours'):.1f} ns (oscpack {ns('Encode_Typed_ffs_Oscpack'):.1f} ns)", f"{r:.2f}x oscpack", r <= 1.0)
r1 = ns("Parse_Channel_Ours") / ns("Parse_Channel_Oscpack")
r2 = ns("Parse_Channel_Ours") / ns("Parse_Channel_Liblo")
row("Parse the 36-byte /osc/channel: at most 1.5x oscpack and 0.5x liblo", f"{ns('Parse_Channel_Ours'):.1f} ns (oscpack {ns('Parse_Channel_Oscpack'):.1f} ns, liblo {ns('Parse_Channel_Liblo'):.1f} ns)", f"{r1:.2f}x oscpack, {r2:.2f}x liblo", r1 <= 1.5 and r2 <= 0.5)
r1 = max(ns(f"Decode_{m}_Ours") / ns(f"Decode_{m}_Oscpack") for m in ("Channel", "Typed"))
r2 = max(ns(f"Decode_{m}_Ours") / ns(f"Decode_{m}_Liblo") for m in ("Channel", "Typed"))
row("Decode any message with its fields (the 36-byte /osc/channel; 7 arguments ffsihdb): at most 1x oscpack walking its arguments and 0.5x liblo", f"{ns('Decode_Channel_Ours'):.1f} ns and {ns('Decode_Typed_Ours'):.1f} ns (oscpack {ns('Decode_Channel_Oscpack'):.1f} and {ns('Decode_Typed_Oscpack'):.1f} ns, liblo {ns('Decode_Channel_Liblo'):.1f} and {ns('Decode_Typed_Liblo'):.1f} ns)", f"{r1:.2f}x oscpack, {r2:.2f}x liblo (the worse of the two)", r1 <= 1.0 and r2 <= 0.5)
rate = counter("SendPath_Backend", "items_per_second")
r = ns("SendPath_Backend") / ns("SendPath_RawSendto")
floor = ns("SendPath_SystemCallFloor")
row("Whole send path: at least 150,000 messages/s and at most 2x a raw sendto loop", f"{rate/1000:.0f}k messages/s, {ns('SendPath_Backend')/1000:.2f} us each (sendto {ns('SendPath_RawSendto')/1000:.2f} us; sendto and the three writes of the lines, bare: {floor/1000:.2f} us)", f"{r:.2f}x sendto, {ns('SendPath_Backend')/floor:.2f}x the bare calls", rate >= 150000 and r <= 2.0)
pct = counter("ReceivePath_Backend", "processed_pct")
ours = counter("ReceivePath_Backend", "datagrams_per_s")
raw = counter("ReceivePath_RawRecvmmsg", "datagrams_per_s")
floor = counter("ReceivePath_SystemCallFloor", "datagrams_per_s")
row("Receive a 200,000-datagram flood: at least 99.5% processed, rate within 1.5x of a recvmmsg drain", f"{pct:.2f}% processed at {ours/1000:.0f}k/s (recvmmsg drain {raw/1000:.0f}k/s, {counter('ReceivePath_RawRecvmmsg', 'processed_pct'):.1f}%; the drain with the two writes of each datagram, bare: {floor/1000:.0f}k/s)", f"{raw/ours:.2f}x slower than the drain, {floor/ours:.2f}x than the bare calls", pct >= 99.5 and raw / ours <= 1.5)
pct = counter("ReceivePath_Monitor", "processed_pct")
gap = counter("ReceivePath_Monitor", "longest_tick_gap_ms")
rows_kept = counter("ReceivePath_Monitor", "rows")
memory = counter("ReceivePath_Monitor", "memory_mb")
row("The same flood at the monitor: at least 99.5% decoded and counted, the list bounded, no tick stalled over 200 ms", f"{pct:.2f}% decoded at {counter('ReceivePath_Monitor', 'datagrams_per_s')/1000:.0f}k/s, {rows_kept:.0f} rows kept, longest gap between 50 ms ticks {gap:.0f} ms, {memory:.0f} MB more memory", f"{gap/200:.2f}x the stall limit", pct >= 99.5 and rows_kept <= 10000 and gap <= 200)
median = counter("Replay_Scenario", "median_late_ms")
p99 = counter("Replay_Scenario", "p99_late_ms")
row("Replay a 1,000-step scenario at 30 sends a second: each send at most 1 ms late at the median, 5 ms at the 99th percentile", f"median {median:.2f} ms, 99th percentile {p99:.2f} ms late (a bare precise-timer loop: {counter('Replay_BareTimerLoop', 'median_late_ms'):.2f} and {counter('Replay_BareTimerLoop', 'p99_late_ms'):.2f} ms)", f"{median:.2f}x and {p99/5:.2f}x the limits", median <= 1 and p99 <= 5)
load = counter("Desk_StartAndLoad64x16", "load_and_draw_ms")
first = counter("Desk_StartAndLoad64x16", "first_frame_ms")
rss = counter("Desk_StartAndLoad64x16", "rss_mb")
empty = counter("Desk_StartAndLoad64x16", "rss_empty_mb")
row("A 64 x 16 desk loaded and drawn within 1.5 s (Xvfb)", f"{load:.0f} ms", f"{load/1500:.2f}x the limit", load <= 1500)
row("Start-up to the first frame within 0.5 s (Xvfb)", f"{first:.0f} ms", f"{first/500:.2f}x the limit", first <= 500)
row("Resident memory with that desk under 200 MB (Xvfb)", f"{rss:.0f} MB ({empty:.0f} MB before the desk)", f"{rss/200:.2f}x the limit", rss < 200)
sizes = (1024, 4096, 16384)
frames = [counter(f"Desk_Load{n}", "load_to_frame_ms") for n in sizes]
row("Desks of 1,024, 4,096 and 16,384 controls: from the load to the first frame that shows the desk within 250 ms each (Xvfb)", ", ".join(f"{t:.0f} ms" for t in frames), f"{max(frames)/250:.2f}x the limit", max(frames) <= 250)
growth = [counter(f"Desk_Load{n}", "rss_growth_mb") for n in sizes]
row("Resident memory the desk adds: at most 60 MB for each size, the largest at most 1.3x the smallest's (Xvfb)", ", ".join(f"{g:.1f} MB" for g in growth) + f" (before the load: {counter('Desk_Load1024', 'rss_before_mb'):.0f} MB)", f"{max(growth)/60:.2f}x the limit; {growth[-1]/growth[0]:.2f}x the smallest's", max(growth) <= 60 and growth[-1] <= 1.3 * growth[0])
p99 = counter("Desk_Scroll16384", "p99_frame_ms")
row("Scroll the 16,384-control desk top to bottom in 2 s: the 99th percentile of the time between frames at most 50 ms (Xvfb, llvmpipe)", f"{p99:.1f} ms ({counter('Desk_Scroll16384', 'frames'):.0f} frames, median {counter('Desk_Scroll16384', 'median_frame_ms'):.1f} ms, longest {counter('Desk_Scroll16384', 'longest_frame_ms'):.1f} ms)", f"{p99/50:.2f}x the limit", p99 <= 50)
gap = counter("Desk_Feedback16384", "longest_tick_gap_ms")
wrong = counter("Desk_Feedback16384", "controls_wrong")
row("Feedback to that desk, 10,000 messages a second for 5 s to addresses over the whole desk: no 50 ms tick waits over 100 ms, every control at the last value sent", f"longest gap between ticks {gap:.0f} ms; {counter('Desk_Feedback16384', 'received'):.0f} messages heard, {counter('Desk_Feedback16384', 'addresses'):.0f} addresses, {wrong:.0f} controls elsewhere", f"{gap/100:.2f}x the stall limit", gap <= 100 and wrong == 0)

print("| Target | Measured | Ratio | Met |")
print("|---|---|---|---|")
print("\n".join(rows))
