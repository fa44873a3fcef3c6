#!/usr/bin/env python3
"""check_sources_built.py PRESET...: every source file of ours is compiled by some target of these presets.

A test that no target builds is a test that never fails. The portable unit tests must be built for Windows as well as
natively.
"""
import json
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent


def compiled(preset):
    commands = json.loads((ROOT / "out/build" / preset / "compile_commands.json").read_text())
    return {pathlib.Path(entry["directory"], entry["file"]).resolve() for entry in commands}


def sources():
    listed = subprocess.run(
        ["git", "ls-files", "--cached", "--others", "--exclude-standard", "*.cpp", "*.cc", "*.c"],
        cwd=ROOT, check=True, capture_output=True, text=True).stdout.split("\n")
    return [ROOT / name for name in listed if name and (ROOT / name).exists()]


def main(presets):
    per_preset = {preset: compiled(preset) for preset in presets}
    anywhere = set().union(*per_preset.values())
    missing = []
    for source in sources():
        name = source.relative_to(ROOT)
        if source.resolve() not in anywhere:
            missing.append(f"{name}: no target builds it")
        elif name.parts[:2] == ("tests", "unit"):
            missing += [f"{name}: not built by {preset}" for preset in ("linux-asan", "windows-cross")
                        if source.resolve() not in per_preset[preset]]
    print("\n".join(missing), end="\n" if missing else "")
    return 1 if missing else 0


if __name__ == "__main__":
    if not {"linux-asan", "windows-cross"} <= set(sys.argv[1:]):
        sys.exit("usage: check_sources_built.py PRESET..., linux-asan and windows-cross among them")
    sys.exit(main(sys.argv[1:]))
