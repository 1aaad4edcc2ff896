#!/usr/bin/env python3
"""Writes the product's target graph as Graphviz text, from the manifest the layer check reads:
one box per library or program, grouped by subsystem folder, an arrow from each target to each
target it may use. Test scaffolding, tests, benchmarks and the demonstration are left out."""

import sys

sys.path.insert(0, __import__("os").path.dirname(__file__))
from check_layers import is_test_code, read_manifest  # noqa: E402


def folder(target):
    files = target["files"]
    if not files:
        return ""
    parts = files[0].split("/")
    # src/<Folder>/... ; src/Platform/X11/... ; src/Overlay/UI/...
    if len(parts) > 3 and parts[2] in ("X11", "Linux"):
        return parts[1] + "/" + parts[2]
    return parts[1]


def main():
    targets = read_manifest(sys.argv[1])
    product = {n: t for n, t in targets.items() if not is_test_code(t)}
    groups = {}
    for name, target in product.items():
        groups.setdefault(folder(target), []).append(name)

    out = ["digraph mosaro {", '  rankdir=TB;', '  node [shape=box, style="rounded,filled", fillcolor="#f4f4f4",'
           ' fontname="Helvetica", fontsize=11];', '  edge [color="#555555", arrowsize=0.6];',
           '  graph [fontname="Helvetica", fontsize=12, labeljust=l, nodesep=0.3, ranksep=0.5];']
    for index, (group, names) in enumerate(sorted(groups.items())):
        out.append(f'  subgraph cluster_{index} {{ label="src/{group}"; style=rounded; color="#999999";')
        for name in sorted(names):
            fill = "#dde8f5" if product[name]["kind"] == "program" else "#f4f4f4"
            out.append(f'    "{name}" [fillcolor="{fill}"];')
        out.append("  }")
    for name in sorted(product):
        for dep in product[name]["deps"]:
            if dep in product:
                out.append(f'  "{name}" -> "{dep}";')
    out.append("}")
    print("\n".join(out))


if __name__ == "__main__":
    main()
