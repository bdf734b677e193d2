#!/usr/bin/env python3
"""usage: flood.py PORT COUNT SECONDS

Sends COUNT datagrams of a fixed mix to 127.0.0.1:PORT in bursts over about SECONDS. None
changes channel 512 or raises the device's oscBufferChanged, which is then its tick alone.
"""
import random
import socket
import struct
import sys
import time


def osc_string(text):
    return text + b"\0" * (4 - len(text) % 4)


def channel(universe, number, value):
    return osc_string(b"/osc/channel") + osc_string(b",iii") + struct.pack(">iii", universe, number, value)


def universe(number, values):
    blob = struct.pack(">i", len(values)) + values + b"\0" * (-len(values) % 4)
    return osc_string(b"/osc/universe") + osc_string(b",ib") + struct.pack(">i", number) + blob


KINDS = {
    "valid": lambda r: channel(0, r.randint(1, 511), r.randint(0, 255)),
    "clamped": lambda r: channel(0, r.randint(1, 511), r.choice([-1, 256, 2**31 - 1, -2**31])),
    "bad-channel": lambda r: channel(r.randint(-1, 1), r.choice([0, 513, -5]), 1),
    "other-universe": lambda r: channel(r.randint(1, 9), r.randint(1, 512), 9),
    "truncated": lambda r: channel(0, 1, 1)[: r.randint(1, 35)],
    "garbage": lambda r: r.randbytes(r.randint(1, 64)),
    "empty": lambda r: b"",
    "bundle": lambda r: osc_string(b"#bundle") + struct.pack(">IIi", 0, 1, 36) + channel(0, 5, 7),
    "universe": lambda r: universe(r.randint(1, 2), r.randbytes(r.randint(0, 600))),
    "huge-universe": lambda r: universe(0, r.randbytes(65000 - 28)),
    "huge-garbage": lambda r: r.randbytes(65000),
}

port, count, seconds = int(sys.argv[1]), int(sys.argv[2]), float(sys.argv[3])
r = random.Random(20251123)
names = list(KINDS)
sent = dict.fromkeys(names, 0)
start = time.monotonic()
with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
    for i in range(count):
        name = names[i % len(names)] if i % 3 else "valid"
        s.sendto(KINDS[name](r), ("127.0.0.1", port))
        sent[name] += 1
        if i % 50 == 49:
            time.sleep(max(0, start + seconds * (i + 1) / count - time.monotonic()))
print(" ".join(f"{name}={n}" for name, n in sent.items()))
