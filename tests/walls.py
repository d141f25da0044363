#!/usr/bin/env python3
"""Lists what breaks the walls of the house: includes against the floors, the platform's header outside its folder, and
words that have no place in the tree; and tests that docs/promises.md names and nobody has. Fails when there is any.
Before that it tries itself on breaches made for it."""
import pathlib
import re
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORKERS = ["identity", "machines", "federation", "netsec", "clientauth", "maintenance"]
GROUND = "framework/core"
TEXTS = ["platform/ldap", "platform/text"]
PORTS = ["platform", "platform/module"] + TEXTS
ADAPTERS = ["platform/windows", "platform/posix", "platform/lab"]
DIRECTORIES = ["ldap"]

# What a folder may include besides itself. `identity` serves three workers through its headers, `netsec` one.
FLOORS = {
    GROUND: [],
    "platform": TEXTS + [GROUND],
    "platform/text": ["platform", GROUND],
    "platform/module": [GROUND],
    "platform/ldap": PORTS + [GROUND],
    "platform/portable": PORTS + [GROUND],
    **{adapter: PORTS + [GROUND, "platform/portable"] for adapter in ADAPTERS},
    "platform/factory": PORTS + [GROUND, "platform/portable"] + ADAPTERS,
    "ldap": PORTS + [GROUND],
    **{worker: DIRECTORIES + PORTS + [GROUND] for worker in WORKERS},
    "framework": WORKERS + DIRECTORIES + PORTS + [GROUND],
    "winauth": PORTS + [GROUND],
    "channel": [GROUND],
    "host": [GROUND, "channel", "platform/text"],
}
for guest in ("machines", "clientauth", "federation"):
    FLOORS[guest] = FLOORS[guest] + ["identity"]
FLOORS["federation"] = FLOORS["federation"] + ["netsec"]  # for the switch of the inter-pod rule alone

# Headers that have one home, most of them the operating system's, and where they may stand.
PLATFORM_HEADERS = {
    "windows.h": ["src/platform/windows", "tests/windows", "tests/platform/windows"],
    "winldap.h": ["src/platform/windows", "tests/windows", "tests/platform/windows"],
    "ldap.h": ["src/platform/posix", "tests/platform/posix", "bench"],  # there as the peer
    "unistd.h": ["src/platform/posix", "tests"],
    "shared_mutex": ["src/framework/core/corelock.h"],  # there stands why
}

# The text describes this system as it stands; where it was written and from what is nobody's business. The pieces are
# split so that this file passes its own test.
WORDS = [
    (re.compile(r"\bspec" r"ifications?\b", re.I), "names a document that is not in the tree"),
    (re.compile(r"\bPart" r" \d+\.\d+"), "names a document that is not in the tree"),
    (re.compile(r"/wo" r"rk/|/tmp" r"/wt|/ro" r"ot/"), "a path of the machine that it was written on"),
]
TEXT = {".cpp", ".h", ".md", ".txt", ".cmake", ".sh", ".py", ".json", ".toml", ".ldif", ".in", ""}
SKIPPED = {".git", "build", ".cache"}

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def floor_of(path):
    """The longest floor that the path stands in ("framework/core/x.h" stands in "framework/core"), or None."""
    folders = [floor for floor in FLOORS if path.startswith(floor + "/")]
    return max(folders, key=len, default=None)


def include_breach(file, quote, target):
    for header, homes in PLATFORM_HEADERS.items():
        if target.lower() == header and not any((file + "/").startswith(home + "/") for home in homes):
            return f"<{header}> belongs to {homes[0]}"
    if quote != '"' or not file.startswith("src/"):
        return None
    own, other = floor_of(file.removeprefix("src/")), floor_of(target)
    if other is None:
        return f'"{target}" is no path from src/'
    if own is None:
        return f"no floor is known for {file}: add it to {pathlib.Path(__file__).name}"
    if other != own and other not in FLOORS[own]:
        return f'{own} must not know {other} ("{target}")'
    return None


def breaches(root):
    for path in sorted(root.rglob("*")):
        file = path.relative_to(root).as_posix()
        if SKIPPED & set(file.split("/")) or path.suffix not in TEXT or not path.is_file():
            continue
        for number, line in enumerate(path.read_text(encoding="utf-8", errors="replace").splitlines(), 1):
            for word, why in WORDS:
                if found := word.search(line):
                    yield f"{file}:{number}: '{found[0]}' {why}"
            if path.suffix in (".cpp", ".h") and (include := INCLUDE.match(line)):
                if why := include_breach(file, include[1], include[2]):
                    yield f"{file}:{number}: {why}"


SELF_TEST = [  # file, line, does it break a wall
    ("src/ldap/a.cpp", '#include "framework/operation_table.h"', True),
    ("src/ldap/a.cpp", '#include "framework/core/log.h"', False),
    ("src/maintenance/a.h", '#include "identity/accounts.h"', True),
    ("src/machines/a.h", '#include "identity/accounts.h"', False),
    ("src/framework/a.cpp", '#include "platform/lab/lab_platform.h"', True),
    ("src/platform/factory/a.cpp", '#include "platform/lab/lab_platform.h"', False),
    ("src/host/a.cpp", '#include "platform/platform.h"', True),
    ("src/identity/a.cpp", '#include "platform/portable/portable_directory.h"', True),
    ("src/platform/lab/a.cpp", '#include "platform/portable/system_clock.h"', False),
    ("src/winauth/a.cpp", '#include "ldap/search.h"', True),
    ("src/platform/a.h", '#  include <Windows.h>', True),
    ("src/platform/windows/a.h", "#include <windows.h>", False),
    ("src/framework/core/corelock.h", "#include <shared_mutex>", False),
    ("src/framework/core/corelock_other.h", "#include <shared_mutex>", True),
    ("src/ldap/a.cpp", '#include "a.h"', True),
    ("docs/a.md", "as the spec" "ification says", True),
    ("docs/a.md", "Part" " 2.2 of it", True),
    ("docs/a.md", "part of it", False),
    ("README.md", "see /wo" "rk/main", True),
]


PROMISED = re.compile(r"`test_\w+\.(\w+)(?:\.(\w+))?`")
TEST = re.compile(r"TEST(?:_F|_P)?\((\w+),\s*(\w+)\)")


def missing_tests(root):
    """The tests that docs/promises.md names and that are not there."""
    there = {found for path in root.glob("tests/**/*.cpp") for found in TEST.findall(path.read_text())}
    suites = {suite for suite, _ in there}
    for suite, name in PROMISED.findall((root / "docs/promises.md").read_text()):
        if (suite, name) not in there and not (name == "" and suite in suites):
            yield f"docs/promises.md: there is no test {suite}.{name}"


def self_test():
    for file, line, breaks in SELF_TEST:
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, file)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(line + "\n")
            if bool(list(breaches(pathlib.Path(folder)))) != breaks:
                sys.exit(f"walls.py does not judge {file} with {line!r} as it should")


self_test()
found = [*breaches(ROOT), *missing_tests(ROOT)]
print("\n".join(found) or "the walls stand")
sys.exit(bool(found))
