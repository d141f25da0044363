#!/usr/bin/env python3
"""unsaid.py [--read] [LAUNCHER...]: lists the texts of src/ (failures' sentences and log lines) that no native test
makes the system say.

The tests are built with counters (preset coverage) and run, those that need a server by the launcher, such as
tests/servers/with-pod. A text is said where the line that says it was reached to its end; one that has a name, where
the name is used. One of a line that was reached in part (it says one of two texts) and one that no line says (rows of
tables, and src/platform/windows/, which Linux does not build) is said where a file of tests/ has it. What stays unsaid
is in EXPLAINED; a text that is neither said nor explained, and an explanation without such a text, is a fault. --read
only counts what ran before."""
import collections
import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "coverage"
ALL, SOME = 2, 1  # of a line
NOT_RUN = {"integration", "windows", "fuzz"}
NOT_BUILT = "src/platform/windows/"
TABLES = re.compile(r"_keys\.h$|framework/operations/|service_operations\.h$|operation_reference\.cpp$|"
                    r"schema_builtin\.cpp$|netsh\.cpp$")  # of help, schemas and commands, which no line says

# (file, part of the text, why no test hears it)
EXPLAINED = [
    # No test can bring it about.
    ("src/channel/channel_server.cpp", "has no thread", "the system has no threads left"),
    ("src/channel/channel_server.cpp", "there is no memory", "out of memory"),
    ("src/channel/context_threads.h", "callback failed", "out of memory"),
    ("src/channel/link.cpp", "there is no memory", "out of memory"),
    ("src/channel/link.cpp", "TLS failed", "OpenSSL neither begins a handshake nor encrypts for want of memory alone"),
    ("src/channel/tls.cpp", "", "OpenSSL without TLS 1.3, or out of memory"),
    ("src/channel/ticket.cpp", "no random bytes", "the system has no random bytes"),
    ("src/channel/ticket.cpp", "of that identity already", "two identities made by chance are one"),
    ("src/clientauth/client_accounts.cpp", "ADsPath", "an object that was created always has a path"),
    ("src/clientauth/client_auth_config.cpp", "Unknown operation", "the steps before refuse every other operation"),
    ("src/clientauth/client_auth_config.cpp", "Error generating", "the system has no random bytes"),
    ("src/clientauth/client_auth_config.cpp", "cannot be protected", "an encoder that fails for want of memory alone"),
    ("src/federation/entry_attributes.cpp", "to string type", "the schema has the attributes that are read as texts"),
    ("src/federation/entry_attributes.cpp", "is not a text", "the schema has the attributes that are read as texts"),
    ("src/federation/federation_tree.cpp", "distinguishedName", "a row of a directory always has its name"),
    ("src/federation/state.cpp", "is no number", "the schema has the flags as numbers"),
    ("src/framework/core/async_messages.cpp", "Worker %s", "the system has no threads left"),
    ("src/framework/core/file_service.cpp", "cannot be read", "a file that root, as whom tests may run, cannot read"),
    ("src/framework/core/file_service.cpp", "cannot be deleted", "a file that root, as whom tests may run, cannot delete"),
    ("src/framework/core/key_file.cpp", "The key file", "another process deletes the key between two calls"),
    ("src/framework/core/key_file.cpp", "no random bytes", "the system has no random bytes"),
    ("src/framework/core/message.cpp", "has no thread", "the system has no threads left"),
    ("src/framework/core/security.cpp", "", "a text of 2 GB, or an encoder that fails for want of memory alone"),
    ("src/framework/core/timer_thread.cpp", "", "the system has no threads left"),
    ("src/host/options.cpp", "hdqadmin", "the help, which is no answer"),
    ("src/host/request.cpp", "the value of", "what is typed at a terminal, by a child whose lines are not counted"),
    ("src/host/request.cpp", "is not valid UTF-8", "what is typed at a terminal, by a child whose lines are not counted"),
    ("src/identity/memberships.cpp", "without end", "more than a million groups"),
    ("src/ldap/connection_mgr.cpp", "could not be started", "the system has no threads left"),
    ("src/ldap/domain.cpp", "is not installed", "comes after ten seconds without the authentication service"),
    ("src/ldap/domain.cpp", "could not be started", "the system has no threads left"),
    ("src/machines/default_desktop.cpp", "Failed to get information", "an entry of a directory always has its name"),
    ("src/machines/unentitled_policies.cpp", "Failed to expand DN", "a directory's names can be read"),
    ("src/machines/unentitled_machines.cpp", "on desktop", "the desktop becomes another kind of entry between two searches"),
    ("src/maintenance/backup_protection.cpp", "salt", "the system has no random bytes"),
    ("src/maintenance/collisions.cpp", "Memory allocation", "out of memory"),
    ("src/maintenance/rsa_key.cpp", "", "an encoder that fails for want of memory alone"),
    ("src/netsec/ipsec_rules.cpp", "Memory allocation", "out of memory"),
    ("src/netsec/ipsec_rules_manager.cpp", "could not be started", "the system has no threads left"),
    ("src/platform/portable/computer_names.cpp", "name is unknown", "a machine has a name"),
    ("src/platform/posix/libldap_connection.cpp", "hung up", "GnuTLS has words of its own for it, and they are said"),
    # Windows alone can say it.
    ("src/platform/factory/configuration.cpp", "ADSI binds", "that build's test of configurations has the sentence"),
    ("src/platform/windows/wldap_connection.cpp", "cannot be reached", "Wine's client connects with the first request"),
    ("src/platform/windows/wldap_connection.cpp", "no TLS 1.2", "Wine's client does not tell the version of TLS"),
    # Said by programs that the integration tests start, which are not among those that run here.
    ("src/host/service/", "", "the host's program and its bundles are tried by the integration tests"),
    ("src/host/listing.cpp", "available yet", "every operation of the table is built"),
    ("src/host/main.cpp", "available yet", "every operation of the table is built"),
]

TOKEN = re.compile(r"""(?P<comment>//[^\n]*|/\*.*?\*/|^\#[^\n]*)|(?P<text>L?R"(\w*)\(.*?\)\3"|(?:u8|L)?"(?:\\.|[^"\\])*")
                   |(?<!\w)L?'(?:\\.|[^'\\])+'|(?P<end>[;{}])""", re.S | re.M | re.X)
NAMED = re.compile(r"\b(?:constexpr|const)\b[^=;]*?\b(\w+)(?:\[\])?(?: = |\{)")
Text = collections.namedtuple("Text", "path line text first last name")  # first, last: the statement's lines


def texts(path, source):
    """The texts of a source, each with the statement around it."""
    found, start, line, at = [], 0, 1, 0
    parts = []  # of the statement: (line, text, where it ends)

    def close(end):
        statement = source[start:end]
        name = NAMED.search(re.sub(r'"(\\.|[^"\\])*"', '""', statement))
        first = source.count("\n", 0, start + len(statement) - len(statement.lstrip())) + 1
        for number, text, _ in parts:
            if re.search(r"[A-Za-z%]\S* +\S*[A-Za-z%]", text) and "static_assert" not in statement:
                found.append(Text(path, number, text, first, source.count("\n", 0, end) + 1,
                                  name.group(1) if name else None))

    for token in TOKEN.finditer(source):
        line, at = line + source.count("\n", at, token.start()), token.start()
        if token.group("text"):
            text = re.search(r'^L?R"\w*\((.*)\)\w*"$|"(.*)"$', token.group(), re.S)
            text = text.group(1) or text.group(2) or ""
            if parts and not source[parts[-1][2]:token.start()].strip():  # one text in several pieces
                parts[-1] = (parts[-1][0], parts[-1][1] + text, token.end())
            elif not source[:token.start()].endswith(".name = "):  # for whoever reads a list
                parts.append((line, text, token.end()))
        elif token.group("end"):
            close(token.start())
            start, parts = token.end(), []
        elif token.group("comment") and not source[start:token.start()].strip():
            start = token.end()
    return found


def build_and_run(launcher):
    """Builds the tests and runs them; answers with the names of those that failed."""
    folders = {file.parent.name for file in ROOT.glob("tests/*/CMakeLists.txt")} - NOT_RUN
    subprocess.run([ROOT / "scripts" / "build.sh", "--configure", "coverage", *(f"test_{name}" for name in folders)],
                   check=True)
    for counts in BUILD.rglob("*.gcda"):
        counts.unlink()
    failed = []
    for program in sorted(BUILD.glob("bin/test_*")):
        done = subprocess.run([*launcher, program, "--gtest_brief=1"], cwd=ROOT, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")
        if done.returncode:
            print(done.stdout[-3000:], f"{program.name} failed", sep="\n", file=sys.stderr)
            failed.append(program.name)
    return failed


def counted():
    """(path, line) -> ALL where a test reached it to its end, SOME, or 0, for the lines that have code."""
    reached = collections.defaultdict(int)
    for notes in BUILD.rglob("*.gcno"):
        found = subprocess.run(["gcov", "--json-format", "--stdout", notes], cwd=BUILD, capture_output=True, text=True)
        for report in map(json.loads, found.stdout.splitlines()):
            for file in report["files"]:
                path = os.path.relpath(os.path.join(report["current_working_directory"], file["file"]), ROOT)
                if path.startswith("src/"):
                    for line in file["lines"]:
                        told = (SOME if line["unexecuted_block"] else ALL) if line["count"] else 0
                        reached[path, line["line_number"]] = max(reached[path, line["line_number"]], told)
    return reached


def used(text, reached):
    """Whether a line reached uses the name of the text, in its file or, of a header, anywhere."""
    files = ROOT.glob("src/**/*.*") if text.path.endswith(".h") else [ROOT / text.path]
    for file in files:
        path, word = str(file.relative_to(ROOT)), re.compile(rf"\b{text.name}\b")
        if file.suffix in (".cpp", ".h"):
            for number, line in enumerate(file.read_text().split("\n"), 1):
                if word.search(line) and reached.get((path, number)) == ALL:
                    return True
    return False


def asserted(text, tests):
    """Whether the longest piece between what is filled in stands in a file of tests/."""
    return max(re.split(r"%[-0-9.]*\w+|\{\}|\\.", text), key=len).strip() in tests


def unsaid(reached):
    """The texts that no line says."""
    tests = "\n".join(file.read_text(errors="replace") for file in ROOT.glob("tests/**/*.*") if file.is_file())
    for file in sorted(ROOT.glob("src/**/*.*")):
        path, source = str(file.relative_to(ROOT)), file.read_text()
        if file.suffix not in (".cpp", ".h") or TABLES.search(path):
            continue
        for text in texts(path, source):
            lines = [*range(text.line, text.first - 1, -1), *range(text.line + 1, text.last + 1)]
            line = next((line for line in lines if (path, line) in reached), None)
            if path.startswith(NOT_BUILT) or (line is None and not text.name):
                said = asserted(text.text, tests)
            elif text.name:
                said = used(text, reached) or asserted(text.text, tests)
            else:
                said = reached[path, line] == ALL or (reached[path, line] and asserted(text.text, tests))
            if not said:
                yield text


def main():
    words = sys.argv[1:]
    failed = [] if words[:1] == ["--read"] else build_and_run(words)
    open_texts, idle = [], set(EXPLAINED)
    for text in unsaid(counted()):
        reasons = {row for row in EXPLAINED if text.path.startswith(row[0]) and row[1] in text.text}
        idle -= reasons
        if not reasons:
            open_texts.append(text)
    for text in open_texts:
        print(f"{text.path}:{text.line}: {text.text}")
    for path, part, _ in sorted(idle):
        print(f"{path}: explained, but no text is unsaid: {part}")
    print(f"{len(open_texts)} texts unsaid, {len(EXPLAINED)} explained", *(f"{name} failed" for name in failed), sep="\n")
    sys.exit(bool(open_texts or idle or failed))


if __name__ == "__main__":
    main()
