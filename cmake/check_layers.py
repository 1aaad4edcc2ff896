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
  - a library or program of the product depends on test scaffolding.

--self-test breaks a layer on purpose (a Grid header including an Overlay header, and a
dependency from the platform layer back up to the overlay) and succeeds only when the check
reports exactly those faults.
"""

import argparse
import os
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)
SOURCE_DIRS = ("src", "tests", "bench", "demo")
SOURCE_SUFFIXES = (".h", ".cpp")
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


def check(root, targets, overrides=None):
    """Returns the list of faults. `overrides` maps a file to extra text appended to it."""
    overrides = overrides or {}
    faults = []
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
                header_owner = owner.get(resolved)
                if header_owner is None:
                    faults.append(f"{path} ({name}) includes \"{include}\", which no target lists")
                elif header_owner not in allowed:
                    faults.append(
                        f"{path} ({name}) includes \"{include}\" of {header_owner}, "
                        f"which {name} does not depend on")
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
    if len(faults) != 1 or not faults[0].startswith(expected):
        print("self-test: a Grid header including an Overlay header was not reported as the only fault:")
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
