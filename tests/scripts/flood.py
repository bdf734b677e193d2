#!/usr/bin/env python3
"""Floods a UDP port on the loopback interface with a fixed mix of datagrams.

usage: flood.py PORT COUNT SECONDS

Sends COUNT datagrams in bursts spread over about SECONDS: /osc/channel messages for
channels 1 to 511 (valid, out of range, clamped), malformed, truncated and empty
datagrams, bundles, /osc/universe messages and datagrams of 65,000 bytes. The mix is
the same on every run. No message of it changes the stored values in a way that raises
oscBufferChanged (universe 0 gets whole-universe messages only too long to store), so
that signal counts the device's 50 ms tick alone. Prints one line: how many datagrams of each kind were sent.
"""
import random
import socket
import struct
import sys
import time

BURST = 50


def osc_string(text):
    data = text + b"\0"
    return data + b"\0" * (-len(data) % 4)


def channel(universe, number, value):
    return osc_string(b"/osc/channel") + osc_string(b",iii") + struct.pack(">iii", universe, number, value)


def universe(number, values):
    blob = struct.pack(">i", len(values)) + values + b"\0" * (-len(values) % 4)
    return osc_string(b"/osc/universe") + osc_string(b",ib") + struct.pack(">i", number) + blob


def bundle(message):
    return osc_string(b"#bundle") + struct.pack(">II", 0, 1) + struct.pack(">i", len(message)) + message


KINDS = {
    "valid": lambda r: channel(0, r.randint(1, 511), r.randint(0, 255)),
    "clamped": lambda r: channel(0, r.randint(1, 511), r.choice([-1, 256, 2**31 - 1, -2**31])),
    "bad-channel": lambda r: channel(r.randint(-1, 1), r.choice([0, 513, -5]), 1),
    "other-universe": lambda r: channel(r.randint(1, 9), r.randint(1, 512), 9),
    "truncated": lambda r: channel(0, 1, 1)[: r.randint(1, 35)],
    "garbage": lambda r: r.randbytes(r.randint(1, 64)),
    "empty": lambda r: b"",
    "bundle": lambda r: bundle(channel(0, r.randint(1, 511), 7)),
    "universe": lambda r: universe(r.randint(1, 2), r.randbytes(r.randint(0, 600))),
    "huge-universe": lambda r: universe(0, r.randbytes(65000 - 28)),
    "huge-garbage": lambda r: r.randbytes(65000),
}


def main():
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
            if i % BURST == BURST - 1:
                delay = start + seconds * (i + 1) / count - time.monotonic()
                if delay > 0:
                    time.sleep(delay)
    print(" ".join(f"{name}={n}" for name, n in sent.items()))


main()
