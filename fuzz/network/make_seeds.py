#!/usr/bin/env python3
"""Writes the seed corpus of fuzz_network: small valid streams, whole and cut into pieces.

The fuzzer reads its format and chunk controls from the end of the input (one byte each, last
byte first) and the chunks' bytes from the front; this lays seeds out the same way."""
import os
import struct
import sys

out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "corpus")


def rtp(seq, ts, marker, segments):
    header = struct.pack(">BBHII", 0x80, (0x80 if marker else 0) | 96, seq, ts, 0x1234)
    payload = struct.pack(">H", 0)
    for i, (line, offset, data) in enumerate(segments):
        more = 0x8000 if i + 1 < len(segments) else 0
        payload += struct.pack(">HHH", len(data), line, offset | more)
    for _, _, data in segments:
        payload += data
    packet = header + payload
    return struct.pack(">H", len(packet)) + packet


def seed(name, sampling, width_groups, height, stream, cuts):
    controls = []
    front = b""
    at = 0
    for cut in cuts + [len(stream)]:
        while at < cut:
            n = min(cut - at, 0x7e)
            controls.append(n)
            front += stream[at:at + n]
            at += n
    # The end, read backwards: sampling, width, height, payload type, then one control per chunk.
    tail = bytes(reversed([sampling, width_groups - 1, height - 1, 0] + controls))
    with open(os.path.join(out, name), "wb") as f:
        f.write(front + tail)


os.makedirs(out, exist_ok=True)
row = bytes(range(8))  # 4 UYVY pixels
one_packet = rtp(1, 1000, True, [(0, 0, row), (1, 0, row)])
two_packets = rtp(2, 2000, False, [(0, 0, row)]) + rtp(3, 2000, True, [(1, 0, row)])
seed("uyvy-one-packet", 0, 2, 2, one_packet, [])
seed("uyvy-two-frames-split", 0, 2, 2, one_packet + two_packets, [1, 5, 20, 40])
bgra_row = bytes(range(16))  # 4 BGRA pixels
seed("bgra-one-packet", 1, 4, 1, rtp(7, 5, True, [(0, 0, bgra_row)]), [3])
