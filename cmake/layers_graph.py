#!/usr/bin/env python3
"""Writes the product's target graph as Graphviz text, from the manifest the layer check reads:
one box per library or program, inside the boxes of its folder and the folders above it, an arrow from each target to each
target it may use. Test scaffolding, tests, benchmarks and the demonstration are left out."""

import os
import sys

sys.path.insert(0, os.path.dirname(__file__))
from check_layers import is_test_code, read_manifest  # noqa: E402


def folder(target):
    """The folder of a target's sources: src/<Folder>, or a subfolder of it (UI/, X11/, Log/, ...)."""
    sources = [p for p in target["files"] if p.endswith((".h", ".cpp"))]
    return os.path.dirname(sources[0]) if sources else ""


def main():
    targets = read_manifest(sys.argv[1])
    product = {n: t for n, t in targets.items() if not is_test_code(t)}
    groups = {}
    for name, target in product.items():
        groups.setdefault(folder(target), []).append(name)
    # Every folder that holds targets, and the folders above it, as nested boxes.
    folders = set()
    for path in groups:
        while path.count("/") >= 1:
            folders.add(path)
            path = os.path.dirname(path)

    out = ["digraph mosaro {", '  rankdir=TB;', '  node [shape=box, style="rounded,filled", fillcolor="#f4f4f4",'
           ' fontname="Helvetica", fontsize=11];', '  edge [color="#555555", arrowsize=0.6];',
           '  graph [fontname="Helvetica", fontsize=12, labeljust=l, nodesep=0.3, ranksep=0.5];']
    index = iter(range(len(folders)))

    def draw(path, depth):
        pad = "  " * depth
        out.append(f'{pad}subgraph cluster_{next(index)} {{ label="{path}"; style=rounded; color="#999999";')
        for name in sorted(groups.get(path, [])):
            fill = "#dde8f5" if product[name]["kind"] == "program" else "#f4f4f4"
            out.append(f'{pad}  "{name}" [fillcolor="{fill}"];')
        for child in sorted(f for f in folders if os.path.dirname(f) == path):
            draw(child, depth + 1)
        out.append(f"{pad}}}")

    for top in sorted(f for f in folders if f.count("/") == 1):
        draw(top, 1)
    for name in sorted(product):
        for dep in product[name]["deps"]:
            if dep in product:
                out.append(f'  "{name}" -> "{dep}";')
    out.append("}")
    print("\n".join(out))


if __name__ == "__main__":
    main()
