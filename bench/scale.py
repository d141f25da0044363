#!/usr/bin/env python3
"""scale.py REPORT [--quick]: listings of a great pod's machines and the report of the unentitled, each beside OpenLDAP's
ldapsearch reading the same entries with the same attributes, in turns; medians. REPORT is JSON as Google Benchmark writes
it. The measures:

hdqadmin/X            time: ours beside ldapsearch. memory: our peak beside the bytes of the JSON that is printed
twice_the_machines/X  the same request on the pod beside one with half of the machines, and the same users and pools:
                      time, and the searches that are sent over and above the pages"""
import collections
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE / "scale"))
import directory  # noqa: E402
from measuring import row, run  # noqa: E402

HDQADMIN = HERE.parent / "build" / "native" / "bin" / "hdqadmin"
WITH_SCALE = HERE / "scale" / "with-scale"
Size = collections.namedtuple("Size", "machines users pools")
GREAT, SMALL = Size(100_000, 20_000, 1_000), Size(5_000, 2_000, 100)
MACHINE = "(|(objectclass=zre-VM)(objectclass=zre-PM))"
POOL = directory.Pool(3, 0).dn
LISTED = ["zre-DisplayName", "zre-SIDString", "zre-MemberDNOf", "zre-mVDIOfflineUser", "name", "zre-VmState", "zre-MOID",
          "ipHostNumber", "zre-ipHostNumberOverride", "zre-VmPath", "zre-VmTemplateName", "zre-VmCreated"]
EXAMINED = ["zre-SIDString", "zre-mVDIOfflineUser", "zre-MemberDNOf", "zre-DisplayName", "name", "zre-MOID", "zre-VmPath"]
# Name: our request, the entries that ldapsearch reads for it, what an entry of our answer is called.
Measure = collections.namedtuple("Measure", "request filter attributes entry")
MEASURES = {
    "pool": Measure(["getMachineInfo", "desktopName=pool-0003"], f"(&{MACHINE}(zre-MemberDNOf={POOL}))", LISTED,
                    "machine-entry"),
    "everything": Measure(["getMachineInfo", "forceFullListing=true"], MACHINE, LISTED, "machine-entry"),
    "unentitled": Measure(["getUnentitledMachines"], MACHINE, EXAMINED, "machine"),
}


def ours(measure):
    return [str(HDQADMIN), "--config", os.environ["WS_TEST_CONFIG"], "--json", *measure.request]


def ldapsearch(*arguments):
    return ["ldapsearch", "-x", "-LLL", "-o", "ldif_wrap=no", "-H", os.environ["WS_SCALE_URL"], "-D",
            os.environ["WS_SCALE_USER"], "-w", os.environ["WS_SCALE_PASSWORD"], *arguments]


def peer(measure):
    return ldapsearch("-E", "pr=250/noprompt", "-b", f"OU=Servers,{directory.POD}", measure.filter, *measure.attributes)


def count(command, text):
    """Bytes that a command prints, and how often the text is among them. This process must stay small: a child's peak of
    memory is not below its parent's."""
    with tempfile.TemporaryFile() as output:
        run(command, output)
        output.seek(0)
        found, rest = 0, b""
        while piece := output.read(1 << 16):
            piece = rest + piece
            found += piece.count(text)
            rest = piece[-len(text) + 1:]
        return output.tell(), found


def expected(name, size):
    """How many entries an answer must have."""
    pools = (directory.Pool(number, size.users) for number in range(size.pools))  # one at a time: see count
    share = size.machines // size.pools
    if name == "unentitled":
        owners = (pool.owner(machine, share) for pool in pools for machine in range(share))
        return sum(owner is not None and directory.Groups.has_moved(owner) for owner in owners)
    return share if name == "pool" else share * size.pools


def searches_sent():
    answer = subprocess.run(ldapsearch("-s", "base", "-b", "cn=Search,cn=Operations,cn=Monitor", "monitorOpInitiated"),
                            stdout=subprocess.PIPE, text=True, check=True).stdout
    return int(answer.split("monitorOpInitiated: ")[1].split()[0])


def searches_of(command):
    before = searches_sent()
    run(command)
    return searches_sent() - before - 1


def measure_all(size, repetitions):
    """Of every measure: seconds of ours and of the peer, our memory and JSON in bytes, searches beside the pages."""
    results = {}
    for name, measure in MEASURES.items():
        json_bytes, entries = count(ours(measure), f'["{measure.entry}", '.encode())
        if entries != expected(name, size):
            sys.exit(f"{name}: {entries} entries instead of {expected(name, size)}")
        _, read = count(peer(measure), b"\ndn: ")  # all but the first one
        if name != "unentitled" and read + 1 != entries:
            sys.exit(f"{name}: ldapsearch finds {read + 1} entries, and the answer has {entries}")
        searches = searches_of(ours(measure)) - searches_of(peer(measure))
        results[name] = {"ours": [], "peer": [], "memory": [], "json": json_bytes, "searches": searches}
    for _ in range(repetitions):
        for name, measure in MEASURES.items():
            seconds, memory = run(ours(measure))
            results[name]["ours"].append(seconds)
            results[name]["memory"].append(memory)
            results[name]["peer"].append(run(peer(measure))[0])
    return {name: {what: statistics.median(value) if isinstance(value, list) else value for what, value in result.items()}
            for name, result in results.items()}


def beside(size, repetitions):
    """measure_all beside a server of that size, in a process of its own."""
    answer = subprocess.run([WITH_SCALE, *map(str, size), sys.executable, __file__, *map(str, size), str(repetitions)],
                            stdout=subprocess.PIPE, check=True).stdout
    return json.loads(answer)


def report(whole, half):
    for name, result in whole.items():
        yield row(f"hdqadmin/{name}", result["ours"], memory=result["memory"])
        yield row(f"peer/{name}", result["peer"], memory=result["json"])
    for name, result in whole.items():
        yield row(f"twice_the_machines/{name}_twice", result["ours"], searches=result["searches"])
        yield row(f"peer/{name}_twice", half[name]["ours"], searches=half[name]["searches"])


def main():
    match sys.argv[1:]:
        case [machines, users, pools, repetitions]:
            print(json.dumps(measure_all(Size(int(machines), int(users), int(pools)), int(repetitions))))
        case [path, *options] if options in ([], ["--quick"]):
            size, repetitions = (SMALL, 1) if options else (GREAT, 5)
            whole, half = (beside(s, repetitions) for s in (size, size._replace(machines=size.machines // 2)))
            pathlib.Path(path).write_text(json.dumps({"benchmarks": list(report(whole, half))}))
        case _:
            sys.exit(__doc__)


main()
