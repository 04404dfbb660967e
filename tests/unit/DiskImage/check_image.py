#!/usr/bin/env python3
"""Holds a disk image against docs/formats/udif.md: check_image.py IMAGE

Shares nothing with the program: decompresses every chunk, compares all checksums, and reads both copies of the
partition map. Prints every mistake on a line of its own; the exit status is 1 then."""
import lzma
import plistlib
import struct
import sys
import zlib

data = open(sys.argv[1], "rb").read()
mistakes = []


def expect(condition, text):
    if not condition:
        mistakes.append(text)


koly = data[-512:]
expect(koly[:16] == b"koly" + struct.pack(">III", 4, 512, 1), "trailer")
fork_at, fork_size, list_at, list_size = struct.unpack(">QQ", koly[24:40]) + struct.unpack(">QQ", koly[216:232])
expect((fork_at, list_at, list_at + list_size) == (0, fork_size, len(data) - 512), "places")
fork_check, master_check = (struct.unpack(">III", koly[at:at + 12]) for at in (80, 352))
expect(fork_check == (2, 32, zlib.crc32(data[:fork_size])), "checksum of the data fork")
disk, checks, stored = b"", b"", 0
tables = plistlib.loads(data[list_at:list_at + list_size])["resource-fork"]["blkx"]
for index, entry in enumerate(tables):
    name, table = entry["Name"], entry["Data"]
    first, count, offset, _, descriptor = struct.unpack(">QQQII", table[8:40])
    expect((first * 512, offset, descriptor, entry["ID"]) == (len(disk), 0, index, str(index - 1)), f"{name}: place")
    plain = b""
    chunks = [struct.unpack(">IIQQQQ", table[at:at + 40]) for at in range(204, len(table), 40)]
    expect(struct.unpack(">I", table[200:204])[0] == len(chunks), f"{name}: count")
    for kind, _, start, sectors, at, size in chunks:
        expect(start * 512 == len(plain) and at == stored, f"{name}: chunk {start}")
        piece = data[at:at + size]
        expect(kind in (0, 1, 0x80000008, 0xFFFFFFFF), f"{name}: kind {kind}")
        plain += bytes(sectors * 512) if kind == 0 else lzma.decompress(piece) if kind == 0x80000008 else piece
        stored += size
    expect(kind == 0xFFFFFFFF and len(plain) == count * 512, f"{name}: its end")
    expect(struct.unpack(">III", table[64:76]) == (2, 32, zlib.crc32(plain)), f"{name}: checksum")
    checks += table[72:76]
    disk += plain
expect(stored == fork_size and master_check == (2, 32, zlib.crc32(checks)), "master checksum")
sectors = len(disk) // 512
expect(struct.unpack(">IQ", koly[488:500]) == (1, sectors), "size of the disk")

expect(disk[510:512] == b"\x55\xaa" and disk[446:466] and struct.unpack("<II", disk[454:462]) == (1, sectors - 1), "MBR")
for own, other, entries_at in ((1, sectors - 1, 2), (sectors - 1, 1, sectors - 33)):
    header = disk[own * 512:own * 512 + 92]
    entries = disk[entries_at * 512:entries_at * 512 + 128 * 128]
    expect(header[:16] == b"EFI PART\0\0\1\0\x5c\0\0\0", f"GPT {own}: start")
    expect(struct.unpack("<I", header[16:20])[0] == zlib.crc32(header[:16] + bytes(4) + header[20:]), f"GPT {own}: checksum")
    expect(struct.unpack("<QQQQ", header[24:56]) == (own, other, 34, sectors - 34), f"GPT {own}: places")
    expect(struct.unpack("<QIII", header[72:92]) == (entries_at, 128, 128, zlib.crc32(entries)), f"GPT {own}: entries")
    expect(entries[:16].hex() == "005346480000aa11aa1100306543ecac" and not any(entries[128:]), "type")
    expect(struct.unpack("<QQQ", entries[32:56]) == (40, sectors - 34, 0), "partition")
    expect(entries[56:128].decode("utf-16-le").rstrip("\0") == "disk image", "name")
expect(disk[40 * 512 + 1024:40 * 512 + 1026] == b"H+", "the volume begins elsewhere")
print("\n".join(mistakes))
sys.exit(1 if mistakes else 0)
