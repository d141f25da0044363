#!/usr/bin/env python3
"""totals.py FOLDER: counts what the stages of test.sh left in the folder, prints what failed or was skipped and, as
the last line, the totals. Fails when a test failed or a stage that should have run tests ran none.

checks.txt holds a line for every check that is one test by itself. STAGE.xml is ctest's report; where a test of it is
a whole test program, the program's own report STAGE/PROGRAM.xml tells its cases.
"""
import pathlib
import sys
import xml.etree.ElementTree as xml


def ctest_outcome(case):
    """ctest says 'notrun' for a test that skipped itself, but also for a program that is missing."""
    status = case.get("status")
    if status == "run":
        return "passed"
    skipped = case.find("skipped")
    if status == "disabled":
        return "skipped"
    if status == "notrun" and skipped is not None and "SKIP_" in skipped.get("message", ""):
        return "skipped"
    return "failed"


def program_cases(report):
    """The cases of a GoogleTest report, or None where there is no whole report: the program did not end by itself."""
    try:
        cases = xml.parse(report).iter("testcase")
    except (OSError, xml.ParseError):
        return None
    found = []
    for case in cases:
        if case.find("failure") is not None:
            outcome = "failed"
        elif case.get("status") == "notrun" or case.find("skipped") is not None:
            outcome = "skipped"
        else:
            outcome = "passed"
        found.append((f"{case.get('classname')}.{case.get('name')}", outcome))
    return found


def stage_cases(report):
    for test in xml.parse(report).iter("testcase"):
        name, outcome = test.get("name"), ctest_outcome(test)
        cases = program_cases(report.with_suffix("") / f"{name}.xml")
        if cases is None:
            yield name, outcome
            continue
        yield from ((f"{name}: {case}", result) for case, result in cases)
        # Every case passed and the program failed all the same: a sanitizer spoke at its end.
        if outcome == "failed" and all(result != "failed" for _, result in cases):
            yield f"{name}: end of the program", "failed"


def main():
    folder = pathlib.Path(sys.argv[1])
    rows = []
    checks = folder / "checks.txt"
    if checks.exists():
        rows.append(("checks", [tuple(line.split("\t")) for line in checks.read_text().splitlines()]))
    for log in sorted(folder.glob("*/")):
        report = log.with_suffix(".xml")
        cases = list(stage_cases(report)) if report.exists() else []
        rows.append((log.name, cases or [("(the stage ran no test)", "failed")]))

    totals = {"passed": 0, "failed": 0, "skipped": 0}
    print(f"{'':22}{'passed':>8}{'failed':>8}{'skipped':>8}")
    for stage, cases in rows:
        counts = {key: sum(outcome == key for _, outcome in cases) for key in totals}
        print(f"{stage:22}" + "".join(f"{count:8}" for count in counts.values()))
        for key in totals:
            totals[key] += counts[key]
    for stage, cases in rows:
        for name, outcome in cases:
            if outcome != "passed":
                print(f"{outcome}: {stage}: {name}")

    skipped = f", {totals['skipped']} skipped" if totals["skipped"] else ""
    print(f"\n{totals['passed']} passed, {totals['failed']} failed{skipped}")
    return 1 if totals["failed"] or not totals["passed"] else 0


sys.exit(main())
