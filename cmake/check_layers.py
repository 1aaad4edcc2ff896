#!/usr/bin/env python3
"""The layer check.

Reads the manifest that CMake writes (one line per target: name|kind|dependencies|files) and
fails when
  - a file includes a header of a target that its own target does not depend on, directly or
    through the targets it depends on;
  - a file includes a header of the tree that no target lists;
  - a source file of the tree is listed by no target;
  - the targets depend on each other in a loop;
  - a file includes xcb or systemd headers while its target does not link them;
  - a library or program of the product depends on test scaffolding;
  - the folders of the product do not show its layers: a library's files lie in more than one
    folder, or folders use each other in a loop (through the targets' dependencies or a file's
    includes). Each folder then holds one layer: targets that share a folder never reach each
    other through a target of another folder, and no folder includes a header from a folder above
    it. A subfolder is a folder of its own; a program's entry file stands outside the layers.
    The platform's folders (src/Platform/ and below) use nothing but each other and what
    src/Platform/ itself uses: an implementation never reaches up into what it serves.

--self-test breaks a layer on purpose (a Grid header including an Overlay header, a dependency
from the platform layer back up to the overlay, and the grid sizing moved back into the grid's
folder) and succeeds only when the check reports exactly those faults.
"""

import argparse
import os
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)
SOURCE_DIRS = ("src", "tests", "bench", "demo")
SOURCE_SUFFIXES = (".h", ".cpp")
PLATFORM = "src/Platform"
# System headers that only targets linking the named library may use.
GUARDED_SYSTEM_HEADERS = {"xcb/": "PkgConfig::XCB", "systemd/": "PkgConfig::SYSTEMD"}


def read_manifest(path):
    targets = {}
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.strip()
            if not line:
                continue
            name, kind, deps, files = line.split("|")
            targets[name] = {
                "kind": kind,
                "deps": [d for d in deps.split(",") if d],
                "files": [p for p in files.split(",") if p],
            }
    return targets


def closure(targets, name, seen=None):
    """Everything the target may use: itself and all it depends on, transitively."""
    if seen is None:
        seen = set()
    if name in seen:
        return seen
    seen.add(name)
    for dep in targets.get(name, {}).get("deps", []):
        closure(targets, dep, seen)
    return seen


def find_cycle(targets):
    state = {}
    stack = []

    def visit(name):
        state[name] = "open"
        stack.append(name)
        for dep in targets[name]["deps"]:
            if dep not in targets:
                continue
            if state.get(dep) == "open":
                return stack[stack.index(dep):] + [dep]
            if dep not in state:
                found = visit(dep)
                if found:
                    return found
        stack.pop()
        state[name] = "done"
        return None

    for name in sorted(targets):
        if name not in state:
            found = visit(name)
            if found:
                return found
    return None


def is_test_code(target):
    """Test programs, test libraries and anything built from tests/, bench/ or demo/."""
    if target["kind"] in ("test", "test-library"):
        return True
    return bool(target["files"]) and all(not p.startswith("src/") for p in target["files"])


def resolve(root, including_file, include):
    """The tree-relative path of a quoted include, or None for a header outside the tree."""
    candidates = [os.path.join(os.path.dirname(including_file), include)]
    candidates += [os.path.join(d, include) for d in ("src", "tests")]
    for candidate in candidates:
        candidate = os.path.normpath(candidate)
        if os.path.isfile(os.path.join(root, candidate)):
            return candidate
    return None


def folder_faults(targets, includes, moved):
    """The folder rule over the product's libraries. `includes` lists (file, header) pairs of the
    tree; `moved` maps a file to the path it is checked as lying at."""

    def folder(path):
        return os.path.dirname(moved.get(path, path))

    faults = []
    home = {}
    for name, target in sorted(targets.items()):
        if target["kind"] != "library" or is_test_code(target):
            continue
        folders = sorted({folder(p) for p in target["files"] if p.endswith(SOURCE_SUFFIXES)})
        if len(folders) > 1:
            faults.append(f"{name} has files in more than one folder: {', '.join(folders)}")
        for path in target["files"]:
            home[path] = name

    # Folder -> folder, with what draws each arrow: a declared dependency or an include.
    arrows = {}
    for name, target in targets.items():
        if target["kind"] != "library" or is_test_code(target):
            continue
        sources = {folder(p) for p in target["files"] if p.endswith(SOURCE_SUFFIXES)}
        for dep in target["deps"]:
            dep_target = targets.get(dep)
            if dep_target is None or dep_target["kind"] != "library" or is_test_code(dep_target):
                continue
            for below in {folder(p) for p in dep_target["files"] if p.endswith(SOURCE_SUFFIXES)}:
                for above in sources:
                    if above != below:
                        arrows.setdefault(above, {}).setdefault(below, f"{name} depends on {dep}")
    for path, header in includes:
        if path in home and header in home and folder(path) != folder(header):
            arrows.setdefault(folder(path), {})[folder(header)] = f"{moved.get(path, path)} includes {header}"

    graph = {f: {"deps": sorted(to)} for f, to in arrows.items()}
    for to in arrows.values():
        for f in to:
            graph.setdefault(f, {"deps": []})
    def within(path, top):
        return path == top or path.startswith(top + "/")

    allowed = {PLATFORM} | set(arrows.get(PLATFORM, {}))
    for above, to in sorted(arrows.items()):
        if within(above, PLATFORM):
            for below, why in sorted(to.items()):
                if not within(below, PLATFORM) and below not in allowed:
                    faults.append(f"{above} uses {below}, above the platform ({why})")

    # Every loop once: each found is reported and its last arrow set aside before looking again.
    while cycle := find_cycle(graph):
        why = "; ".join(arrows[a][b] for a, b in zip(cycle, cycle[1:]))
        faults.append("folders use each other in a loop, so one of them holds two layers: "
                      + " -> ".join(cycle) + f" ({why})")
        graph[cycle[-2]]["deps"].remove(cycle[-1])
    return faults


def check(root, targets, overrides=None, moved=None):
    """Returns the list of faults. `overrides` maps a file to extra text appended to it; `moved`
    maps a file to the folder path it is checked as lying at."""
    overrides = overrides or {}
    faults = []
    includes = []
    owner = {}
    for name, target in targets.items():
        for path in target["files"]:
            if path in owner and owner[path] != name:
                faults.append(f"{path}: listed by both {owner[path]} and {name}")
            owner[path] = name

    cycle = find_cycle(targets)
    if cycle:
        faults.append("targets depend on each other in a loop: " + " -> ".join(cycle))

    for name, target in sorted(targets.items()):
        if target["kind"] in ("library", "program") and not is_test_code(target):
            for dep in sorted(closure(targets, name) - {name}):
                if dep in targets and is_test_code(targets[dep]):
                    faults.append(f"{name} depends on the test scaffolding {dep}")

    for directory in SOURCE_DIRS:
        for base, _, names in os.walk(os.path.join(root, directory)):
            for file_name in names:
                if file_name.endswith(SOURCE_SUFFIXES):
                    rel = os.path.relpath(os.path.join(base, file_name), root)
                    if rel not in owner:
                        faults.append(f"{rel}: not listed in any target's sources")

    for name, target in sorted(targets.items()):
        allowed = closure(targets, name)
        for path in target["files"]:
            try:
                with open(os.path.join(root, path), encoding="utf-8") as f:
                    text = f.read()
            except OSError as error:
                faults.append(f"{path}: cannot be read ({error.strerror})")
                continue
            text += overrides.get(path, "")
            for match in INCLUDE.finditer(text):
                kind, include = match.groups()
                if kind == "<":
                    for prefix, library in GUARDED_SYSTEM_HEADERS.items():
                        if include.startswith(prefix) and library not in allowed:
                            faults.append(f"{path} ({name}) includes <{include}> but does not link {library}")
                    continue
                resolved = resolve(root, path, include)
                if resolved is None:
                    continue
                includes.append((path, resolved))
                header_owner = owner.get(resolved)
                if header_owner is None:
                    faults.append(f"{path} ({name}) includes \"{include}\", which no target lists")
                elif header_owner not in allowed:
                    faults.append(
                        f"{path} ({name}) includes \"{include}\" of {header_owner}, "
                        f"which {name} does not depend on")
    faults += folder_faults(targets, includes, moved or {})
    return faults


def self_test(root, targets):
    """Breaks two layers on purpose and expects the check to report exactly those."""
    grid_header = "src/Grid/GridTypes.h"
    overlay_header = "Overlay/OverlayInput.h"
    if grid_header not in targets.get("mosaro_grid", {}).get("files", []):
        print(f"self-test: {grid_header} is not a file of mosaro_grid any more; update the self-test")
        return 1
    baseline = set(check(root, targets))

    faults = [f for f in check(root, targets, {grid_header: f'\n#include "{overlay_header}"\n'}) if f not in baseline]
    expected = f"{grid_header} (mosaro_grid) includes \"{overlay_header}\""
    # The include is reported, and the arrow it draws from the grid's folder up to the overlay's.
    if len(faults) != 2 or not faults[0].startswith(expected) or not faults[1].startswith("folders use each other"):
        print("self-test: a Grid header including an Overlay header was not reported as exactly its two faults:")
        print("\n".join("  " + f for f in faults) or "  (nothing reported)")
        return 1
    print("caught: " + faults[0])

    looped = {name: dict(t, deps=list(t["deps"])) for name, t in targets.items()}
    looped["mosaro_platform"]["deps"].append("mosaro_overlay")
    faults = [f for f in check(root, looped) if f not in baseline]
    if not any(f.startswith("targets depend on each other in a loop") for f in faults):
        print("self-test: a dependency loop was not reported:")
        print("\n".join("  " + f for f in faults) or "  (nothing reported)")
        return 1
    print("caught: " + next(f for f in faults if f.startswith("targets depend")))

    # A file moved into the wrong folder: the grid sizing back beside the grid model, which the
    # preferences it reads build on.
    sizing = [p for p in targets.get("mosaro_grid_sizing", {}).get("files", [])]
    if not sizing or any(not p.startswith("src/Grid/Sizing/") for p in sizing):
        print("self-test: mosaro_grid_sizing no longer lies in src/Grid/Sizing/; update the self-test")
        return 1
    moved = {p: "src/Grid/" + os.path.basename(p) for p in sizing}
    faults = [f for f in check(root, targets, moved=moved) if f not in baseline]
    if len(faults) != 1 or not faults[0].startswith("folders use each other in a loop") or "src/Grid" not in faults[0]:
        print("self-test: the grid sizing moved into src/Grid/ was not reported as the only fault:")
        print("\n".join("  " + f for f in faults) or "  (nothing reported)")
        return 1
    print("caught: " + faults[0])
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--root", required=True, help="the source tree")
    parser.add_argument("--manifest", required=True, help="the manifest CMake wrote")
    parser.add_argument("--self-test", action="store_true", help="break layers on purpose and expect faults")
    args = parser.parse_args()

    targets = read_manifest(args.manifest)
    if args.self_test:
        return self_test(args.root, targets)
    faults = check(args.root, targets)
    for fault in faults:
        print(fault)
    if faults:
        print(f"{len(faults)} layer fault(s)")
        return 1
    print(f"layers hold: {len(targets)} targets, {sum(len(t['files']) for t in targets.values())} files")
    return 0


if __name__ == "__main__":
    sys.exit(main())
