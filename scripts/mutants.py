#!/usr/bin/env python3
"""mutants.py [--count N] [--seed N] [--jobs N] [COMMIT...]: breaks places of src/ chosen by chance, one at a time, and
tells which of them the native tests that need no server notice.

All places are compiled into one build of the commit's copy, build/mutants/COMMIT; an environment variable switches one
of them on. With several commits (HEAD alone without any) the places are in lines that all have, and the table has a
column for each. Headers are left alone, because with them everything is compiled anew, and so is what the native build
leaves out. A place that does not compile is replaced by the next of the same seed."""
import argparse
import collections
import concurrent.futures
import difflib
import os
import pathlib
import random
import re
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPIES = ROOT / "build" / "mutants"
NOT_BUILT = "platform/windows/"
NOT_RUN = {"integration", "windows", "fuzz"}  # folders of tests that need servers, Windows or another compiler
SWAPPED = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "true": "false",
           "false": "true"}
NO_PLACE = re.compile(r"\s*(#|\w+ = .*,$|(case|using|template|friend|extern|enum) |.*\b(constexpr|static_assert)\b)")
NO_STATEMENT = re.compile(r"\s*(return|co_return|delete|throw|break|continue|goto|else|if|for|while|do|switch)\b")
STATEMENT = re.compile(r"\s*(\+\+|--)?[\w:]+((\(.*\)|\[.*\]|->|\.)[\w:]*)*( [-+|&]?= .+|\(.*\)|\+\+|--)?;")
HEAD = r"""#ifndef MUTATED_PLACES  // several sources are compiled as one
#define MUTATED_PLACES
#include <fcntl.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#pragma GCC diagnostic ignored "-Wparentheses"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wreturn-type"
inline bool mutated(int place) {
    static const char* const chosen = std::getenv("MUTANT");
    static const char* const folder = std::getenv("MUTANTS_REACHED");
    static bool seen[10000];
    if (folder && !seen[place]) {  // a file for each place, made without memory that a test may count
        seen[place] = true;
        char name[1000];
        std::snprintf(name, sizeof name, "%s/%d", folder, place);
        close(open(name, O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    }
    return chosen && std::atoi(chosen) == place;
}
#endif
#line 1
"""

Place = collections.namedtuple("Place", "number kind spots")  # spots: for each commit path, index of the line, new text


def git(*words):
    return subprocess.run(["git", "-C", ROOT, *words], check=True, capture_output=True, text=True).stdout


def masked(line):
    """The line with its texts, characters and comment blanked."""
    return re.sub(r'"(\\.|[^"\\])*"|(?<!\w)L?\'(\\.|[^\'\\])+\'|//.*', lambda found: "_" * len(found.group()), line)


def end_of(code, start):
    """Where the expression that starts there ends in the line: at a semicolon or at the bracket around it."""
    depth = 0
    for at in range(start, len(code)):
        depth += (code[at] in "([{") - (code[at] in ")]}")
        if depth < 0 or (depth == 0 and code[at] == ";"):
            return at
    return None


def mutations(line):
    """(kind, new line) for each way to break the line; MUTATED stands for the question whether it is this place."""
    code = masked(line)
    if NO_PLACE.match(code):
        return
    expressions = [found.span(1) for found in re.finditer(r"\bfor \([^;]*; ([^;]+);", code)]
    for found in re.finditer(r"\b(?:if|while) \(", code):
        start, end = found.end(), end_of(code, found.end())
        if end is not None and code[end] == ";" and code[found.start()] == "i":  # past an initialiser
            start, end = end + 2, end_of(code, end + 1)
        if end is None or code[end] != ")" or re.search(r"[\w>&*] \w+ = ", code[start:end]):
            continue
        expressions.append((start, end))
        yield "negated", f"{line[:start]}MUTATED != static_cast<bool>({line[start:end]}){line[end:]}"
    for found in re.finditer(r"\breturn (?=[^{])| = (?=[^\[{])", code):
        end = end_of(code, found.end())
        if end is not None and code[end] == ";":
            expressions.append((found.end(), end))
    for start, end in expressions:
        for found in re.finditer(r" ([=!<>]=|[<>]|&&|\|\|) ", code[start:end]):
            at, old, text = start + found.start(1), found.group(1), line[start:end]
            new = line[start:at] + SWAPPED[old] + line[at + len(old):end]
            yield f"{old} to {SWAPPED[old]}", f"{line[:start]}(MUTATED ? ({new}) : ({text})){line[end:]}"
    for found in re.finditer(r"(?<![\w.<'])(\d+|true|false)(?![\w.'>])", code):
        old = found.group(1)
        new = SWAPPED.get(old) or str(int(old) + 1)
        yield f"{old} to {new}", f"{line[:found.start()]}(MUTATED ? {new} : {old}){line[found.end():]}"
    statement = STATEMENT.match(code)
    if statement and not NO_STATEMENT.match(code) and end_of(code, 0) == statement.end() - 1:
        text = line[:statement.end()].strip()
        yield "skipped", line.replace(text, f"{{ if (!MUTATED) {text} }}", 1)


def sources(commit):
    """Path -> lines of the commit's src/; all else goes to its copy."""
    (COPIES / commit).mkdir(parents=True, exist_ok=True)
    archive = subprocess.run(["git", "-C", ROOT, "archive", commit], check=True, capture_output=True).stdout
    unpack = ["tar", "-x", "-C", COPIES / commit, "--exclude=src/*.cpp", "--exclude=src/*.h"]
    subprocess.run(unpack, input=archive, check=True)
    names = git("ls-tree", "-r", "--name-only", commit, "src/").split()
    return {name: git("show", f"{commit}:{name}").split("\n") for name in names if name.endswith((".h", ".cpp"))}


def counterparts(old, new, old_commit, new_commit):
    """(path, line) of the new tree -> the same in the old one, for the lines that both have."""
    changes = git("diff", "-M", "--name-status", old_commit, new_commit, "--", "src").splitlines()
    former = {row.split("\t")[2]: row.split("\t")[1] for row in changes if row.startswith("R")}
    found, olds, news = {}, collections.defaultdict(list), collections.defaultdict(list)
    for path, lines in new.items():
        before = former.get(path, path)
        same = difflib.SequenceMatcher(None, old.get(before, []), lines, autojunk=False).get_matching_blocks()
        found.update({(path, b + i): (before, a + i) for a, b, size in same for i in range(size)})
    for tree, places in (old, olds), (new, news):
        for path, lines in tree.items():
            for i, line in enumerate(lines):
                places[line.strip()].append((path, i))
    for text, places in news.items():  # lines that went to another file
        if len(places) == len(olds[text]) == 1:
            found.setdefault(places[0], olds[text][0])
    return found


def choose(trees, commits, count, seed):
    """The places, more than asked for, because some will not compile. A line's chance is its own: what changes
    elsewhere chooses no other places."""
    maps = [counterparts(tree, trees[-1], commit, commits[-1]) for tree, commit in zip(trees[:-1], commits)]
    files = [path for path in sorted(trees[-1]) if path.endswith(".cpp") and NOT_BUILT not in path]
    spots = [(path, i) for path in files for i, line in enumerate(trees[-1][path])
             if all((path, i) in known for known in maps) and any(mutations(line))]
    chances = {(path, i): random.Random(f"{seed} {path} {trees[-1][path][i]}") for path, i in spots}
    drawn = {spot: chance.random() for spot, chance in chances.items()}
    for number, (path, i) in enumerate(sorted(spots, key=drawn.get)[:count + count // 2]):
        kind, new = chances[path, i].choice(list(mutations(trees[-1][path][i])))
        new = new.replace("MUTATED", f"::mutated({number})")
        yield Place(number, kind, [(*known[path, i], new) for known in maps] + [(path, i, new)])


def build(commit, tree, places, at):
    """Builds the commit's tests with the places; returns those that compile."""
    folders = {file.parent.name for file in COPIES.glob(f"{commit}/tests/*/CMakeLists.txt")} - NOT_RUN
    command = [COPIES / commit / "scripts" / "build.sh", "native", "-k0", *(f"test_{folder}" for folder in folders)]
    while True:
        changed = {path: list(lines) for path, lines in tree.items()}
        for path, i, new in (place.spots[at] for place in places):
            changed[path][i] = new
        for path, lines in changed.items():
            file, text = COPIES / commit / path, ("" if lines == tree[path] else HEAD) + "\n".join(lines)
            file.parent.mkdir(parents=True, exist_ok=True)
            if not file.exists() or file.read_text() != text:  # what is equal is not compiled again
                file.write_text(text)
        done = subprocess.run(command, stderr=subprocess.PIPE, text=True)
        if done.returncode == 0:
            return places
        errors = re.findall(r"\b(src/[\w/.]+):(\d+):\d+: error", done.stderr)
        kept = [place for place in places if (place.spots[at][0], str(place.spots[at][1] + 1)) not in errors]
        if len(kept) == len(places):
            sys.exit(done.stderr)
        places = kept


def run(program, seconds, **variables):
    """The first of the program's tests that failed, "" if none. A broken program may signal any process and take all
    memory or the whole disk: it sees no process but its own, they end with it, and what it takes is limited."""
    alone = ["unshare", "--user", "--map-current-user", "--pid", "--mount-proc", "--fork", "--kill-child",
             "bash", "-c", 'ulimit -v 8000000 -f 250000; "$0" --gtest_fail_fast --gtest_brief=1; exit $?', program]
    with tempfile.TemporaryDirectory() as folder, open(f"{folder}/output", "w+", errors="replace") as output:
        try:
            status = subprocess.run(alone, cwd=program.parent, env=os.environ | {"TMPDIR": folder} | variables,
                                    timeout=seconds, stdin=subprocess.DEVNULL, stdout=output, stderr=output).returncode
        except subprocess.TimeoutExpired:
            return "does not end"
        output.seek(0)
        failed = re.search(r"\[  FAILED  \] ([^\s,]+)", output.read())
        return "" if status == 0 else failed.group(1) if failed else f"status {status}"


def unbroken(commit):
    """Program -> its seconds and the places that it reaches, the quickest first."""
    found = {}
    for program in COPIES.glob(f"{commit}/build/native/bin/test_*"):
        with tempfile.TemporaryDirectory() as reached:
            start = time.monotonic()
            if failed := run(program, 900, MUTANTS_REACHED=reached):
                sys.exit(f"{commit}: {program.name} fails although no place is broken: {failed}")
            found[program] = time.monotonic() - start, {int(name) for name in os.listdir(reached)}
    return dict(sorted(found.items(), key=lambda item: item[1][0]))


def verdict(place, at, programs):
    """The program and test that notice the broken place, "survived" or "not reached"; its folder's tests go first."""
    reaching = [program for program in programs if place.number in programs[program][1]]
    for program in sorted(reaching, key=lambda program: program.name[5:] not in place.spots[at][0].split("/")):
        if failed := run(program, 30 + 4 * programs[program][0], MUTANT=str(place.number)):
            return told(place, at, f"{program.name} {failed}")
    return told(place, at, "survived" if reaching else "not reached")


def told(place, at, verdict):
    """Shows the verdict at once, for whoever waits for the table, and answers with it."""
    path, i, _ = place.spots[at]
    print(f"{path}:{i + 1}", place.kind, verdict, sep="\t", file=sys.stderr, flush=True)
    return verdict


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    for name, value in ("--count", 60), ("--seed", 1), ("--jobs", 1):
        parser.add_argument(name, type=int, default=value)
    parser.add_argument("commit", nargs="*", default=["HEAD"])
    given = parser.parse_args()
    commits = [git("rev-parse", "--short", commit).strip() for commit in given.commit]
    trees = [sources(commit) for commit in commits]
    places = list(choose(trees, commits, given.count, given.seed))
    for at, (commit, tree) in enumerate(zip(commits, trees)):
        places = build(commit, tree, places, at)
    places, columns = places[:given.count], []
    for at, commit in reversed(list(enumerate(commits))):
        programs = unbroken(commit)
        with concurrent.futures.ThreadPoolExecutor(given.jobs) as pool:
            columns.insert(0, list(pool.map(lambda place: verdict(place, at, programs), places)))
    for place, *verdicts in zip(places, *columns):
        path, i, new = place.spots[-1]
        shown = "" if verdicts[-1].startswith("test") else new.strip()
        print(f"{path}:{i + 1}", place.kind, *verdicts, shown, sep="\t")
    for commit, verdicts in zip(commits, columns):
        noticed = sum(verdict.startswith("test") for verdict in verdicts)
        print(f"{commit}: {noticed} of {len(places)} noticed, {verdicts.count('not reached')} not reached")


if __name__ == "__main__":
    main()
