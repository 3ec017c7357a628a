#!/usr/bin/env python3
"""Holds what the shared library exports against what the public headers declare, in both directions.

A symbol without a declaration is a promise that nobody meant to give, and a declaration without a symbol is one
that no program can link.

usage: check_exports.py LIBRARY INCLUDE-FOLDER
"""
import collections
import pathlib
import re
import subprocess
import sys


def text_of(header):
    text = re.sub(r"/\*.*?\*/|//[^\n]*", " ", header.read_text(), flags=re.S)
    text = re.sub(r"^[ \t]*#(.*\\\n)*.*$", "", text, flags=re.M)
    return re.sub(r"=\s*\{\}", "", text)


def body_at(text, opening):
    depth = 0
    for end in range(opening, len(text)):
        depth += (text[end] == "{") - (text[end] == "}")
        if depth == 0:
            return text[opening + 1 : end]
    raise SystemExit("a class without an end")


def functions_in(body):
    """The member functions that a class body declares and leaves to the library to define."""
    body = re.sub(r"\b(public|protected|private):", ";", body)
    while re.search(r"\{[^{}]*\}", body):
        body = re.sub(r"\{[^{}]*\}", "@;", body)  # defined here, or a type of its own
    for statement in body.split(";"):
        name = re.search(r"(operator\s*[^\s(]+|~?\w+)\s*\(", statement)
        elsewhere = re.search(r"@|=\s*(default|delete|0)\s*$|^\s*(friend|using|template)\b", statement)
        if name and not elsewhere:
            yield name[1]


declared = collections.Counter()  # qualified names, each with how many overloads it has
classes = set()
for header in sorted(pathlib.Path(sys.argv[2]).glob("caprion/*.h*")):
    text = text_of(header)
    scope = "" if header.suffix == ".h" else "caprion::"
    for mark in re.finditer(r"\bCAPRION_EXPORT\b", text):
        head = re.match(r"[^;{]*", text[mark.end() :])[0]
        if re.search(r"\b(class|struct)\s*$", text[: mark.start()]):
            name = scope + head.split()[0]
            classes.add(name)
            for function in functions_in(body_at(text, text.index("{", mark.end()))):
                declared[f"{name}::{function}"] += 1
        else:
            name = re.search(r"(operator\s*[^\s(]+|\w+)\s*\(", head) or re.search(r"(\w+)\s*(\[\])?\s*$", head)
            declared[scope + name[1]] += 1

exported = set()
faults = []
symbols = subprocess.run(
    ["nm", "-DC", "--defined-only", sys.argv[1]], check=True, capture_output=True, text=True
).stdout
for line in symbols.splitlines():
    symbol = line.split(maxsplit=2)[2]
    if symbol == "CAPRION_1.0":
        continue
    symbol, _, version = symbol.partition("@@")
    if version != "CAPRION_1.0":
        faults.append(f"exported without its version: {symbol}")
    of_class = re.fullmatch(r"(?:vtable|typeinfo|typeinfo name) for (.*)", symbol)
    if not of_class:
        exported.add(symbol)
    elif of_class[1] not in classes:
        faults.append(f"exported, but no public class: {symbol}")

found = collections.Counter()
for symbol in exported:
    name = re.match(r"(?:\w+::)*(?:operator[^\w\s(]+|~?\w+)", symbol)
    name = name[0] if name else symbol
    found[name] += 1
    if name not in declared:
        faults.append(f"exported, but in no header: {symbol}")
for name, count in declared.items():
    if found[name] != count:
        faults.append(f"declared {count} times, but exported {found[name]} times: {name}")

print("\n".join(faults) or f"{len(exported)} exported names, as the headers have them")
sys.exit(bool(faults) or not exported)
