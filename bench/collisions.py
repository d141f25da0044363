#!/usr/bin/env python3
"""collisions.py REPORT [--quick]: the report of replication conflicts and deleted references in a Samba pod of 10,000
entries, beside OpenLDAP's ldapsearch making the same searches, in turns; medians. REPORT is JSON as Google Benchmark writes
it. The measures:

hdqadmin/report   time: ours beside ldapsearch in six processes, one of which makes the searches for all attributes that
                  few entries have. memory: our peak beside our peak at a fifth of the entries"""
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
SERVERS = HERE.parent / "tests" / "servers"
sys.path.insert(0, str(HERE / "scale"))
from measuring import row, run  # noqa: E402

HDQADMIN = HERE.parent / "build" / "native" / "bin" / "hdqadmin"
OPERATION = "showAndResolveLDAPCollisions"
REFERENCE = "zre-MemberDNOf"  # which all added entries have: the only attribute whose holders fill more than a page
PAGED = ["-E", "pr=1000/noprompt"]
SHOW_DELETED = ["-E", "!1.2.840.113556.1.4.417"]


def ours(*options):
    return [str(HDQADMIN), "--config", os.environ["WS_TEST_CONFIG"], *options, OPERATION]


def ldap(program, *arguments):
    user = f"{os.environ['WS_TEST_LDAP_USER']}@{os.environ['WS_TEST_LDAP_DOMAIN']}"
    return [program, "-x", "-H", f"ldap://{os.environ['WS_TEST_LDAP_HOST']}", "-D", user, "-w",
            os.environ["WS_TEST_LDAP_PASSWORD"], *arguments]


def ldapsearch(*arguments):
    return ldap("ldapsearch", "-LLL", "-o", "ldif_wrap=no", *arguments)


def searches(folder):
    """The arguments of ldapsearch for all searches that the operation makes."""
    pod = os.environ["WS_TEST_LDAP_BASE"]
    schema = ["-b", f"CN=Schema,CN=Configuration,{pod}", "(attributeSyntax=2.5.5.1)", "cn", "linkID"]
    listed = subprocess.run(ldapsearch(*schema), stdout=subprocess.PIPE, text=True, check=True).stdout
    entries = [dict(line.split(": ", 1) for line in entry.splitlines() if ": " in line)
               for entry in listed.strip().split("\n\n")]
    names = [entry["cn"] for entry in entries if "cn" in entry and int(entry.get("linkID", 0)) % 2 == 0]
    file = pathlib.Path(folder, "names")
    file.write_text("".join(f"{name}\n" for name in names if name != REFERENCE))  # of each, ldapsearch reads one page
    return [[*PAGED, "-b", pod, "(objectClass=*)", "objectClass"],
            [*PAGED, *SHOW_DELETED, "-b", f"CN=Deleted Objects,{pod}", "(objectClass=*)", "objectClass"],
            ["-s", "base", "-b", "", "(configurationNamingContext=*)", "schemaNamingContext"], schema,
            [*PAGED, "-b", pod, "-f", str(file), "(%s=*)", *names], [*PAGED, "-b", pod, f"({REFERENCE}=*)", REFERENCE]]


def add_machines(numbers):
    below = f"OU=Servers,{os.environ['WS_TEST_LDAP_BASE']}"
    pool = f"CN=pool-auto,OU=Server Groups,{os.environ['WS_TEST_LDAP_BASE']}"
    ldif = "".join(f"dn: CN=load-{number},{below}\nobjectClass: zre-VM\n{REFERENCE}: {pool}\n\n" for number in numbers)
    subprocess.run(ldap("ldapadd"), input=ldif, text=True, stdout=subprocess.DEVNULL, check=True)


def check_report():
    """That the operation makes all of its searches."""
    log = subprocess.run(ours("--log", "info"), stderr=subprocess.PIPE, text=True, check=True).stderr
    for line in ("6 collision entry references found.", "3 deleted entry references found.", "4 collision entries found."):
        if line not in log:
            sys.exit(f"not reported: {line}\n{log}")


def measure(entries, repetitions):
    """Run beside the pod: the rows of the report."""
    subprocess.run([SERVERS / "leftovers"], check=True)
    add_machines(range(entries // 5))
    few = statistics.median(run(ours())[1] for _ in range(repetitions))
    add_machines(range(entries // 5, entries))
    check_report()
    mine, theirs = [], []
    with tempfile.TemporaryDirectory() as folder:
        peers = [ldapsearch(*arguments) for arguments in searches(folder)]
        for _ in range(repetitions):
            mine.append(run(ours()))
            theirs.append(sum(run(peer)[0] for peer in peers))
    seconds, memory = (statistics.median(column) for column in zip(*mine))
    return [row("hdqadmin/report", seconds, memory=memory), row("peer/report", statistics.median(theirs), memory=few)]


def main():
    match sys.argv[1:]:
        case ["beside", entries, repetitions]:
            print(json.dumps({"benchmarks": measure(int(entries), int(repetitions))}))
        case [path, *options] if options in ([], ["--quick"]):
            size = ["500", "1"] if options else ["10000", "5"]
            report = subprocess.run([SERVERS / "with-pod", sys.executable, __file__, "beside", *size],
                                    stdout=subprocess.PIPE, check=True).stdout
            pathlib.Path(path).write_bytes(report)
        case _:
            sys.exit(__doc__)


main()
