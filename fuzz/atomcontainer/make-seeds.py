#!/usr/bin/env python3
"""Writes the seed corpus of the atom container fuzzer: small well-formed containers like the
ones the standard compression component saves, one nested tree, and the empty container. The
seeds are committed; run this only to refresh them."""
import os
import struct

def atom(kind, atom_id, payload=b"", children=0):
    return struct.pack(">I4sIHHI", 20 + len(payload), kind, atom_id, 0, children, 0) + payload

def parent(kind, atom_id, kids):
    return atom(kind, atom_id, b"".join(kids), len(kids))

def container(kids):
    return bytes(10) + struct.pack(">H", 0) + parent(b"sean", 1, kids)

seeds = {
    "empty": container([]),
    "image-settings": container([
        atom(b"vers", 1, struct.pack(">I4s", 1, b"imag")),
        atom(b"sptl", 1, struct.pack(">4sIhI", b"avc1", 0, 32, 0x300)),
        atom(b"tprl", 1, struct.pack(">IiI", 0x200, 1964113, 12)),
        atom(b"drat", 1, struct.pack(">iiII", 0, 0, 0, 0)),
    ]),
    "sound-settings": container([
        atom(b"vers", 1, struct.pack(">I4s", 1, b"audi")),
        atom(b"ssct", 1, b"twos"),
        atom(b"ssrt", 1, struct.pack(">I", 48000 << 16)),
        atom(b"sssz", 1, struct.pack(">h", 16)),
        atom(b"sscc", 1, struct.pack(">h", 2)),
    ]),
    "nested": container([
        parent(b"grup", 1, [atom(b"leaf", 1, b"\x01\x02\x03"), atom(b"leaf", 2),
                            parent(b"deep", 5, [atom(b"item", 9, b"x" * 40)])]),
        atom(b"solo", 3, b"data"),
    ]),
}

out = os.path.join(os.path.dirname(os.path.abspath(__file__)), "corpus")
os.makedirs(out, exist_ok=True)
for name, data in seeds.items():
    with open(os.path.join(out, name + ".qtac"), "wb") as f:
        f.write(data)
