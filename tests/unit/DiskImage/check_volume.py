#!/usr/bin/env python3
"""Holds an HFS Plus volume against Apple's TN1150: check_volume.py IMAGE

Shares nothing with the program and trusts no number of the volume that it can count itself. Prints every mistake
on a line of its own; the exit status is 1 then. Volumes without free extents in trees, journal or hard links; the order
of names is left to readers that search for them."""
import struct
import sys

data = open(sys.argv[1], "rb").read()
mistakes = []


def expect(condition, text):
    if not condition:
        mistakes.append(text)


def number(offset, size, where=None):
    return int.from_bytes((data if where is None else where)[offset:offset + size], "big")


header = data[1024:1536]
expect(header[:4] == b"H+\0\4", "signature and version")
expect(data[-1024:-512] == header, "the alternate header differs")
expect(not any(data[:1024]) and not any(data[-512:]), "boot blocks or last sector are not zero")
attributes = number(4, 4, header)
expect(attributes & 0x2100 == 0x100, "not cleanly unmounted, or a journal")
expect(number(12, 4, header) == 0, "journal information block")
block_size, total, free = (number(offset, 4, header) for offset in (40, 44, 48))
expect(block_size == 4096 and total == len(data) // 4096, "number of blocks")
owners = {0: "header", total - 1: "last block"}


def fork(bytes80, name):
    size, _, blocks = struct.unpack(">QII", bytes80[:16])
    extents = struct.unpack(">16I", bytes80[16:])
    content = b""
    for first, count in zip(extents[::2], extents[1::2]):
        expect(count or not first, f"{name}: an extent without blocks")
        for block in range(first, first + count):
            expect(0 <= block < total, f"{name}: block {block} is past the end")
            expect(block not in owners, f"{name}: block {block} belongs to {owners.get(block)} too")
            owners[block] = name
        content += data[first * 4096:(first + count) * 4096]
    expect(len(content) == blocks * 4096 and -(-size // 4096) == blocks, f"{name}: blocks do not fit the size")
    expect(not any(content[size:]), f"{name}: bytes behind the end")
    return content[:size]


bitmap, extents, catalog, attribute_tree, startup = (
    fork(header[112 + 80 * i:192 + 80 * i], name)
    for i, name in enumerate(("bitmap", "extents", "catalog", "attributes", "startup")))
expect(not startup, "a startup file")


class Tree:
    def __init__(self, content, name, node_size, longest_key):
        self.name, self.content, self.node_size = name, content, node_size
        head = content[14:120]
        (self.depth, self.root, self.records, self.first, self.last, size, key_length, self.nodes,
         self.free) = struct.unpack(">HIIIIHHII", head[:30])
        expect(size == node_size and key_length == longest_key, f"{name}: node size or longest key")
        expect(self.nodes * node_size == len(content), f"{name}: number of nodes")
        expect(content[8:10] == b"\1\0" and number(10, 2, content) == 3, f"{name}: header node")
        expect([number(node_size - 2 * i, 2, content) for i in (1, 2, 3, 4)] == [14, 120, 248, node_size - 8],
               f"{name}: offsets of the header node")
        self.used = {0}
        self.leaves = []
        if self.depth:
            expect(self.level([self.root], self.depth), f"{name}: levels")
        expect(len(self.leaves) == self.records, f"{name}: leafRecords")
        expect(self.free == self.nodes - len(self.used), f"{name}: free nodes")
        for node in range(self.nodes):
            marked = content[248 + node // 8] >> (7 - node % 8) & 1
            expect(marked == (node in self.used), f"{name}: node {node} in the map")
            if node not in self.used:
                expect(not any(content[node * node_size:(node + 1) * node_size]), f"{name}: unused node {node}")
        marks = int.from_bytes(content[248:node_size - 8], "big").bit_count()
        expect(marks == len(self.used), f"{name}: marks past the end of the map")

    def node(self, index):
        return self.content[index * self.node_size:(index + 1) * self.node_size]

    def level(self, nodes, height):
        """The nodes of one level from left to right, then what is below them."""
        children = []
        for place, index in enumerate(nodes):
            expect(0 < index < self.nodes and index not in self.used, f"{self.name}: node {index} twice or nowhere")
            self.used.add(index)
            node = self.node(index)
            following, previous, kind, own_height, count, reserved = struct.unpack(">IIbBHH", node[:14])
            expect(following == (nodes[place + 1] if place + 1 < len(nodes) else 0), f"{self.name}: fLink of {index}")
            expect(previous == (nodes[place - 1] if place else 0), f"{self.name}: bLink of {index}")
            expect((kind, own_height, reserved) == (-1 if height == 1 else 0, height, 0), f"{self.name}: kind of {index}")
            offsets = [number(self.node_size - 2 * (i + 1), 2, node) for i in range(count + 1)]
            expect(count and offsets[0] == 14 and offsets == sorted(set(offsets)) and not any(o % 2 for o in offsets)
                   and offsets[-1] <= self.node_size - 2 * (count + 1), f"{self.name}: offsets of {index}")
            expect(not any(node[offsets[-1]:self.node_size - 2 * (count + 1)]), f"{self.name}: free space of {index}")
            records = [node[a:b] for a, b in zip(offsets, offsets[1:])]
            for record in records:
                key = record[:2 + number(0, 2, record)]
                if height == 1:
                    self.leaves.append((key, record[len(key):]))
                else:
                    child = number(len(key), 4, record)
                    expect(len(record) == len(key) + 4, f"{self.name}: index record of {index}")
                    first = self.node(child)[14:14 + len(key)]
                    expect(first == key, f"{self.name}: the key of child {child} differs")
                    children.append(child)
        if height == 1:
            expect((self.first, self.last) == (nodes[0], nodes[-1]), f"{self.name}: ends of the chain of leaves")
            return True
        return self.level(children, height - 1)


Tree(extents, "extents", 4096, 10)
Tree(attribute_tree, "attributes", 8192, 266)
leaves = Tree(catalog, "catalog", 4096, 516).leaves
items, threads = {}, {}
for key, record in leaves:
    parent, units = number(2, 4, key), number(6, 2, key)
    name = key[8:]
    expect(len(key) == 8 + 2 * units <= 518, f"length of the key {key}")
    kind = number(0, 2, record)
    if kind in (3, 4):
        expect(not name and len(record) == 10 + 2 * number(8, 2, record), f"thread of {parent}")
        threads[parent] = (kind - 2, number(4, 4, record), record[10:])
        continue
    expect(name and b"\0:" not in [name[i:i + 2] for i in range(0, len(name), 2)], f"name {name}")
    cnid, mode, special = number(8, 4, record), number(42, 2, record), number(44, 4, record)
    expect(len(record) == {1: 88, 2: 248}[kind], f"length of the record of {cnid}")
    expect(cnid not in items, f"{cnid} twice")
    items[cnid] = (kind, parent, name, number(4, 4, record))
    expect(special == (0 if cnid == 2 else 1), f"special of {cnid}")
    if kind == 1:
        expect(mode >> 12 == 4 and number(2, 2, record) == 0, f"mode or flags of the folder {cnid}")
    else:
        link = record[48:56] == b"slnkrhap"
        expect(number(2, 2, record) == 2 and number(4, 4, record) == 0, f"flags of {cnid}")
        expect(mode >> 12 == (10 if link else 8) and (link or not any(record[48:56])), f"mode and type of {cnid}")
        content = fork(record[88:168], f"file {cnid}")
        expect(not link or 0 < len(content) <= 1024 and 0 not in content, f"target of {cnid}")
        expect(not any(record[168:]), f"resource fork of {cnid}")
for cnid, (kind, parent, name, valence) in items.items():
    expect(threads.pop(cnid, None) == (kind, parent, name), f"thread of {cnid}")
    expect(parent == 1 if cnid == 2 else items.get(parent, (0,))[0] == 1, f"parent of {cnid}")
    expect(cnid == 2 or cnid >= 16, f"{cnid} is reserved")
    if kind == 1:
        expect(valence == sum(item[1] == cnid for item in items.values()), f"valence of {cnid}")
expect(not threads, f"threads without item: {list(threads)}")
kinds = [item[0] for item in items.values()]
expect(number(32, 4, header) == kinds.count(2) and number(36, 4, header) == kinds.count(1) - 1, "counts of items")
expect(number(64, 4, header) == max(15, *items) + 1, "nextCatalogID")
expect(free == total - len(owners), "free blocks")
marked = {i * 8 + bit for i, byte in enumerate(bitmap) if byte for bit in range(8) if byte >> (7 - bit) & 1}
expect(marked == set(owners), f"bitmap: {sorted(marked ^ set(owners))[:10]}")
expect(len(bitmap) == -(-total // 32768) * 4096, "size of the bitmap")
print("\n".join(mistakes[:20]))
sys.exit(1 if mistakes else 0)
