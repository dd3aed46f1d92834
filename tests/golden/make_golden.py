#!/usr/bin/env python3
"""Writes the expected bytes and checksums of the trees and arrays described here.

    make_golden.py [FOLDER]    (the folder "expected" beside this script)

It shares no code with the library: what it writes is a second opinion about the formats.
golden_test.cpp compares the library with the files, and CTest the files with this script.

A .hex file holds bytes as pairs of digits; what stands behind a # is a remark.
"""

import pathlib
import re
import sys
import zlib

HERE = pathlib.Path(__file__).resolve().parent


# --- The descriptions ---------------------------------------------------------------------


def unquote(quoted):
    """The bytes that a text between quotation marks stands for."""
    out = bytearray()
    at = 1
    while at < len(quoted) - 1:
        if quoted[at] != "\\":
            out += quoted[at].encode("ascii")
            at += 1
        elif quoted[at + 1] == "x":
            out.append(int(quoted[at + 2 : at + 4], 16))
            at += 4
        else:
            out += quoted[at + 1].encode("ascii")
            at += 2
    return bytes(out)


TOKEN = re.compile(r'"(?:\\.|[^"\\])*"|[^\s"]+')


def tokens_of(line):
    """Texts as bytes, everything else as str."""
    return [unquote(t) if t.startswith('"') else t for t in TOKEN.findall(line)]


def lines_of(file):
    """(indentation, tokens) of every line that says something."""
    for line in (HERE / file).read_text(encoding="ascii").splitlines():
        if line.strip() and not line.startswith("#"):
            yield len(line) - len(line.lstrip(" ")), tokens_of(line)


class Node:
    def __init__(self, name, value=None, flag=0):
        self.name = name
        self.value = value  # None for an inner node
        self.flag = flag
        self.children = []

    def is_leaf(self):
        return self.value is not None


class Tree:
    def __init__(self, name):
        self.name = name
        self.top = None
        self.checksum = None
        self.files = []  # (file, with header, path in the header, name to skip)


def read_trees():
    trees = []
    open_nodes = []
    for indent, tokens in lines_of("trees.txt"):
        if indent == 0 and tokens[0] == "tree":
            trees.append(Tree(tokens[1]))
            open_nodes = []
        elif indent == 0 and tokens[0] == "checksum":
            trees[-1].checksum = tokens[1]
        elif indent == 0 and tokens[0] == "serialize":
            rest = tokens[2:]
            with_header, path, skip = False, b"", b""
            while rest:
                word = rest.pop(0)
                if word == "header":
                    with_header = True
                    if rest and isinstance(rest[0], bytes):
                        path = rest.pop(0)
                elif word == "skip":
                    skip = rest.pop(0)
                else:
                    raise ValueError(word)
            trees[-1].files.append((tokens[1], with_header, path, skip))
        elif isinstance(tokens[0], bytes):
            node = Node(tokens[0])
            if len(tokens) > 1:
                assert tokens[1] == "="
                node.value = tokens[2]
                node.flag = int(tokens[3]) if len(tokens) > 3 else 0
            depth = indent // 2 - 1
            del open_nodes[depth:]
            if depth == 0:
                assert trees[-1].top is None
                trees[-1].top = node
            else:
                open_nodes[depth - 1].children.append(node)
            open_nodes.append(node)
        else:
            raise ValueError(tokens)
    return trees


def read_arrays():
    arrays = []
    for indent, tokens in lines_of("arrays.txt"):
        if indent == 0:
            assert tokens[0] == "array"
            arrays.append((tokens[1], []))
        else:
            times = int(tokens[2]) if len(tokens) > 1 else 1
            arrays[-1][1].append(tokens[0] * times)
    return arrays


# --- Writing bytes ------------------------------------------------------------------------


def shown(text):
    """A short remark about a text."""
    if len(text) > 32:
        return f"{len(text)} bytes"
    return '"' + "".join(chr(b) if 32 <= b < 127 and b not in b'"\\#' else f"\\x{b:02X}"
                         for b in text) + '"'


class HexFile:
    def __init__(self, title):
        self.lines = [f"# {title}"]

    def remark(self, text):
        self.lines.append(f"# {text}")

    def add(self, data, remark):
        """Sixteen bytes per line, the remark beside the first of them."""
        for start in range(0, len(data), 16):
            pairs = data[start : start + 16].hex(" ").upper()
            self.lines.append(f"{pairs}  # {remark}" if start == 0 else pairs)

    def add_int(self, number, remark):
        self.add(number.to_bytes(4, "big", signed=True), f"{remark} {number}")

    def write(self, path):
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(("\n".join(self.lines) + "\n").encode("ascii"))


# --- Serialized trees ---------------------------------------------------------------------


def records_of(top, skip):
    """[id, id of the parent, node, whether with its value], a node before its children."""
    records = [[0, -1, top, False]]

    def below(node, node_id, skipped_name):
        for child in node.children:
            if child.is_leaf():
                records.append([len(records), node_id, child, True])
            elif child.name != skipped_name:
                child_id = len(records)
                records.append([child_id, node_id, child, False])
                below(child, child_id, b"")

    below(top, 0, skip)
    return records


def write_serialized(path, tree, with_header, header_path, skip):
    out = HexFile(f"tree {tree.name}" + (f", header {shown(header_path)}" if with_header else "") +
                  (f", skip {shown(skip)}" if skip else ""))
    if with_header:
        out.add_int(len(header_path), "length of the path")
        out.add(header_path, shown(header_path))
    for number, parent, node, with_value in records_of(tree.top, skip):
        value = node.value if with_value else b""
        out.add_int(number, "id")
        out.add_int(parent, "parent")
        out.add_int(len(node.name), "length of the name")
        out.add(node.name, shown(node.name))
        out.add_int(len(value), "length of the value")
        if value:
            out.add(value, shown(value))
            out.add_int(node.flag, "change flag")
    out.write(path)


# --- Checksums ----------------------------------------------------------------------------


def checksum_of(node, path):
    """`path` is the full path of the node."""
    fed = bytearray()
    children = [(path + b"\\" + child.name, child) for child in node.children]
    # Python compares bytes unsigned, and its sort keeps the order of equals.
    for child_path, child in sorted(children, key=lambda pair: pair[0]):
        checksum = checksum_of(child, child_path)
        while checksum != 0:
            fed.append(ord("A") + (checksum & 0xF))
            checksum >>= 4
    fed += b" " + node.name + b" "
    if node.value is not None:
        fed += node.value
    return zlib.crc32(bytes(fed))


# --- Flat arrays --------------------------------------------------------------------------


def write_array(path, name, strings):
    out = HexFile(f"array {name}")
    out.add(b"%d\0" % len(strings), f"{len(strings)} strings")
    for text in strings:
        out.add(b"%d\0" % len(text), f"length {len(text)}")
        out.add(text + b"\0", shown(text))
    out.write(path)


def main():
    folder = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else HERE / "expected"
    checksums = ["# Checksums of the trees."]
    for tree in read_trees():
        checksum = f"{checksum_of(tree.top, tree.top.name):08X}"
        if tree.checksum is not None and tree.checksum != checksum:
            sys.exit(f"{tree.name}: checksum {checksum}, known as {tree.checksum}")
        checksums.append(f"{tree.name} {checksum}")
        for file, with_header, path, skip in tree.files:
            write_serialized(folder / "serialized" / f"{file}.hex", tree, with_header, path, skip)
    (folder / "checksums.txt").write_bytes(("\n".join(checksums) + "\n").encode("ascii"))
    for name, strings in read_arrays():
        write_array(folder / "arrays" / f"{name}.hex", name, strings)


if __name__ == "__main__":
    main()
