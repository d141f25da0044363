#!/usr/bin/env python3
"""lint.py [PART OF A PATH...]: clang-tidy over the sources of the native build (all, or those whose path has the part
in it), two at a time. Needs a finished build. A source that was clean is looked at again only when the source, one of
its headers, the checks or its compile command changed."""
import concurrent.futures
import functools
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "native"
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME") or pathlib.Path.home() / ".cache", "ws_admin", "lint")
KEPT_DAYS = 30
GCC_ONLY = ("-fno-gnu-unique", "-Wshadow=local", "-Wno-subobject-linkage")  # what the linter's own front end does not know


def output(*command):
    return subprocess.run(command, cwd=BUILD, check=True, capture_output=True, text=True).stdout


def dependencies():
    """Object file -> what its source included, as the last compilation noted it."""
    found, current = {}, None
    for line in output("ninja", "-t", "deps").splitlines():
        if line.startswith(" "):
            current.append(line.strip())
        elif line:
            current = found.setdefault(line.split(":")[0], [])
    return found


@functools.lru_cache(maxsize=None)
def fingerprint(path):
    """Of the tree's own files the content, so that every copy of the tree has the same; of the machine's the date."""
    if path.startswith(str(ROOT)) and "/build/" not in path:
        return path.removeprefix(str(ROOT)) + hashlib.sha256(pathlib.Path(path).read_bytes()).hexdigest()
    status = os.stat(path)
    return f"{path.removeprefix(str(ROOT))} {status.st_size} {int(status.st_mtime)}"


def key(entry, includes, tool):
    parts = [tool, entry["command"].replace(str(ROOT), "")]
    parts += [fingerprint(str(ROOT / file)) for file in (".clang-tidy", "tests/.clang-tidy")]
    parts += sorted(fingerprint(os.path.normpath(BUILD / name)) for name in [entry["file"], *includes])
    return hashlib.sha256("\n".join(parts).encode()).hexdigest()


def compile_commands():
    """The build's commands as the linter can read them; they are left for it in a folder of its own."""
    commands = []
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        # A file that includes several sources stands for each of them.
        files = [entry["file"]]
        if pathlib.Path(files[0]).parent.name == "Unity":
            files = re.findall(r'^#include "(.*)"', pathlib.Path(files[0]).read_text(), re.M)
        commands += [entry | {"file": file, "command": entry["command"].replace(entry["file"], file)} for file in files]
    for entry in commands:
        entry["command"] = " ".join(word for word in entry["command"].split(" ") if word not in GCC_ONLY)
    (BUILD / "lint").mkdir(exist_ok=True)
    (BUILD / "lint" / "compile_commands.json").write_text(json.dumps(commands))
    return commands


def lint(file):
    command = ["clang-tidy", "--quiet", "-p", str(BUILD / "lint"), file]
    run = subprocess.run(command, capture_output=True, text=True)
    return run.returncode, run.stdout + (run.stderr if run.returncode and not run.stdout else "")


def main():
    CACHE.mkdir(parents=True, exist_ok=True)
    tool, noted = output("clang-tidy", "--version"), dependencies()
    work, clean, broken = {}, 0, 0
    for entry in compile_commands():
        file = os.path.relpath(entry["file"], ROOT)
        if not file.startswith(("src/", "tests/", "bench/")) or not any(part in file for part in sys.argv[1:] or [""]):
            continue
        words = shlex.split(entry["command"])
        compiled = words[words.index("-o") + 1]
        if compiled not in noted:
            sys.exit(f"lint.py: {file} is not built: scripts/build.sh native")
        mark = CACHE / key(entry, noted[compiled], tool)
        if mark.exists():
            mark.touch()
            clean += 1
        else:
            work[entry["file"]] = mark

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for (file, mark), (status, text) in zip(work.items(), pool.map(lint, work)):
            if status:
                broken += 1
                print(text.replace(str(ROOT) + "/", ""), flush=True)
            else:
                mark.touch()
    for mark in CACHE.iterdir():
        if mark.stat().st_mtime < time.time() - KEPT_DAYS * 86400:
            mark.unlink(missing_ok=True)
    print(f"{clean + len(work)} sources, {len(work)} looked at, {broken} with findings")
    return 1 if broken or clean + len(work) == 0 else 0


sys.exit(main())
