#!/usr/bin/env python3
"""Fails when files of the given folders include each other in a cycle.

Usage: include-cycles.py ROOT [FOLDER...]  (folders relative to ROOT; all of ROOT when none)

A file's header and source count as one unit ("app/testjob" for testjob.h and testjob.cpp);
tests are left out. Prints every cycle found and exits 1, or prints the number of units
checked and exits 0.
"""
import os
import re
import sys

root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..")
root = os.path.abspath(root)
folders = [os.path.join(root, folder) for folder in sys.argv[2:]] or [root]
skip = {"build", ".git", "plugins", "interfaces"}
include = re.compile(r'^\s*#\s*include\s+"([^"]+)\.h"', re.M)

graph = {}
for folder, dirs, files in (entry for top in folders for entry in os.walk(top)):
    dirs[:] = [d for d in dirs if d not in skip and not d.startswith("build")]
    for name in files:
        if not name.endswith((".h", ".cpp")) or name.endswith("_test.cpp"):
            continue
        path = os.path.join(folder, name)
        unit = os.path.relpath(path, root).rsplit(".", 1)[0]
        with open(path, encoding="utf-8", errors="replace") as source:
            targets = set(include.findall(source.read()))
        graph.setdefault(unit, set()).update(t for t in targets if t != unit)

cycles = []
state = {}


def visit(unit, trail):
    state[unit] = "open"
    for target in sorted(graph.get(unit, ())):
        if target not in graph:
            continue
        if state.get(target) == "open":
            cycles.append(trail[trail.index(target):] + [target] if target in trail
                          else [unit, target])
        elif target not in state:
            visit(target, trail + [target])
    state[unit] = "done"


for unit in sorted(graph):
    if unit not in state:
        visit(unit, [unit])

for cycle in cycles:
    print("include cycle: " + " -> ".join(cycle))
if cycles:
    sys.exit(1)
print(f"{len(graph)} units, no include cycle")
