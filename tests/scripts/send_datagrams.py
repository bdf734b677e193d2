#!/usr/bin/env python3
"""Sends raw UDP datagrams, given as hex strings, to a port on the loopback interface.

usage: send_datagrams.py PORT HEX [HEX ...]   ("-" stands for an empty datagram)
"""
import socket
import sys

port = int(sys.argv[1])
with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as s:
    for text in sys.argv[2:]:
        s.sendto(b"" if text == "-" else bytes.fromhex(text), ("127.0.0.1", port))
