#!/usr/bin/env python3
"""count_tests.py FOLDER: adds up what ./test left in FOLDER and ends with the line "N passed, M failed".

FOLDER/PHASE/ctest.xml says how each program ended, FOLDER/PHASE/programs/NAME.json what each GoogleTest program counted.
A program without counts of its own (a fuzzer, a script, one that crashed or ran out of time) is one test. FOLDER/checks
holds a file per check with the word passed or failed.
"""
import json
import pathlib
import sys
import xml.etree.ElementTree as ElementTree
from collections import Counter


def count_program(path):
    """The outcomes of one GoogleTest program, and the names of the tests that failed."""
    report = json.loads(path.read_text(encoding="utf-8", errors="replace"), strict=False)
    counts, failed = Counter(), []
    for suite in report.get("testsuites", []):
        for test in suite.get("testsuite", []):
            if test.get("failures"):
                counts["failed"] += 1
                failed.append(f'{suite["name"]}.{test["name"]}')
            elif test.get("result") == "COMPLETED":
                counts["passed"] += 1
            else:
                counts["skipped"] += 1
    return counts, failed


def count_phase(folder):
    counts, failed = Counter(), []
    report = folder / "ctest.xml"
    if not report.exists():
        return Counter(failed=1), ["ctest itself"]
    cases = list(ElementTree.parse(report).getroot().iter("testcase"))
    if not cases:
        return Counter(failed=1), ["no program ran"]
    for case in cases:
        name, ended_well = case.get("name"), case.get("status") == "run"
        program = folder / "programs" / f"{name}.json"
        of_program, of_failed = Counter(), []
        if program.exists():
            of_program, of_failed = count_program(program)
            if not of_program:
                of_program, of_failed = Counter(failed=1), [f"{name}: holds no test"]
        elif ended_well:
            of_program["passed"] += 1
        if not ended_well and not of_program["failed"]:
            # Every test passed, or none could report, and yet the program failed: a leak, a crash, a time-out.
            of_program["failed"] += 1
            of_failed = [f"{name}: the program itself"]
        counts += of_program
        failed += [f"{name}: {test}" if not test.startswith(name) else test for test in of_failed]
    return counts, failed


def count_checks(folder):
    outcomes = {path.name: path.read_text().strip() for path in sorted(folder.iterdir())}
    return Counter(outcomes.values()), [name for name, outcome in outcomes.items() if outcome != "passed"]


def main(folder):
    total = Counter()
    for phase in sorted(path for path in folder.iterdir() if path.is_dir()):
        counts, failed = (count_checks if phase.name == "checks" else count_phase)(phase)
        total += counts
        print(f'{phase.name:12} {counts["passed"]:6} passed {counts["failed"]:4} failed {counts["skipped"]:4} skipped')
        for name in failed:
            print(f"    failed: {name}")
    skipped = f', {total["skipped"]} skipped' if total["skipped"] else ""
    print(f'{total["passed"]} passed, {total["failed"]} failed{skipped}')
    return 1 if total["failed"] or not total["passed"] else 0


if __name__ == "__main__":
    if len(sys.argv) != 2 or not pathlib.Path(sys.argv[1]).is_dir():
        sys.exit("usage: count_tests.py FOLDER, the folder that ./test left its results in")
    sys.exit(main(pathlib.Path(sys.argv[1])))
