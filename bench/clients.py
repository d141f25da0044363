#!/usr/bin/env python3
"""clients.py REPORT [--quick]: 200 accounts of client devices, each with a password and a group, added and removed beside
OpenLDAP's ldapmodify, which sends the same changes to the same servers by one connection each, in turns; medians. Both
reach the domain controller through StartTLS. REPORT is JSON as Google Benchmark writes it."""
import base64
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve()
SERVERS = HERE.parents[1] / "tests" / "servers"
HDQADMIN = HERE.parents[1] / "build" / "native" / "bin" / "hdqadmin"
CORP, POD = "DC=corp,DC=example", "DC=vdi,DC=talvex,DC=int"
PASSWORD = "Kiosk.Pass1"
GROUP = f"CN=Sales,OU=AppGroups,{CORP}"


def names(count):
    return [f"custom-bench{number}" for number in range(count)]


def account(name):
    return f"CN={name},CN=Users,{CORP}"


def entry(name):
    return f"cn={name},ou=Properties,{POD}"


class Servers:
    def __init__(self):
        get = os.environ.__getitem__
        self.pod = ["-H", f"ldap://{get('WS_TEST_LDAP_HOST')}", "-D", f"{get('WS_TEST_LDAP_USER')}@{get('WS_TEST_LDAP_DOMAIN')}",
                    "-w", get("WS_TEST_LDAP_PASSWORD")]
        self.corp = ["-ZZ", "-H", f"ldap://{get('WS_TEST_CORP_HOST')}", "-D", get("WS_TEST_CORP_USER"), "-w",
                     get("WS_TEST_CORP_PASSWORD")]
        os.environ["LDAPTLS_REQCERT"] = "never"
        self.folder = tempfile.TemporaryDirectory()
        with_tls = pathlib.Path(get("WS_TEST_CONFIG")).read_text().replace(
            'for = "corp.example"\n', 'for = "corp.example"\ntls = "starttls"\n')
        self.configuration = self.write("config.toml", with_tls)

    def write(self, name, text):
        path = pathlib.Path(self.folder.name) / name
        path.touch(mode=0o600)
        path.write_text(text)
        return str(path)

    # --- ours

    def ours(self, requests):
        batch = self.write("batch", "".join(json.dumps({"operation": name, "request": bag}) + "\n" for name, bag in requests))
        begin = time.monotonic()
        done = subprocess.run([HDQADMIN, "--config", self.configuration, "--json", "--batch", batch],
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        seconds = time.monotonic() - begin
        if done.returncode or "not removed" in done.stdout:
            sys.exit(f"hdqadmin: {done.stderr[:2000]}{done.stdout[-2000:]}")
        return seconds

    def add(self, count):
        return self.ours([("clientAuthConfig", [["operation", "add"], ["clientid", name], ["domain", "corp.example"],
                                                ["group", "sales"], ["password", PASSWORD]]) for name in names(count)])

    def remove(self, _):
        return self.ours([("clientAuthRemoveAll", [])])

    # --- the peer

    def peer(self, server, changes):
        changes = self.write("ldif", "\n".join(changes))
        begin = time.monotonic()
        subprocess.run(["ldapmodify", "-x", *server, "-f", changes], stdout=subprocess.DEVNULL, check=True)
        return time.monotonic() - begin

    def sids(self):
        found = subprocess.run(["ldapsearch", "-x", "-LLL", "-o", "ldif_wrap=no", *self.corp, "-b", f"CN=Users,{CORP}",
                                "(cn=custom-bench*)", "cn", "objectSid"], stdout=subprocess.PIPE, text=True, check=True).stdout
        records = (dict(line.split(": ", 1) for line in record.replace("objectSid::", "objectSid:").splitlines())
                   for record in found.strip().split("\n\n"))
        return {record["cn"]: sid_text(base64.b64decode(record["objectSid"])) for record in records if "cn" in record}

    def peer_add(self, count):
        password = base64.b64encode(f'"{PASSWORD}"'.encode("utf-16-le")).decode()
        seconds = self.peer(self.corp, (
            f"dn: {account(name)}\nchangetype: add\nobjectClass: user\nsAMAccountName: {name}\ndisplayName: {name}\n\n"
            f"dn: {account(name)}\nchangetype: modify\nreplace: unicodePwd\nunicodePwd:: {password}\n\n"
            f"dn: {account(name)}\nchangetype: modify\nreplace: userAccountControl\nuserAccountControl: 66080\n\n"
            f"dn: {GROUP}\nchangetype: modify\nadd: member\nmember: {account(name)}\n" for name in names(count)))
        return seconds + self.peer(self.pod, (
            f"dn: {entry(name)}\nchangetype: add\nobjectClass: zre-Prop\nobjectClass: zre-ClientAuthSettings-a\n"
            f"objectClass: zre-NameValuePairs\nobjectClass: zre-NameValuePairs-a\nmember: <SID={sid}>\n"
            f"zre-Origin: cn={sid},cn=ForeignSecurityPrincipals,{POD}\nzre-WindowsUID: {name}\n"
            f"zre-WindowsDomain: corp.example\nzre-WindowsPassword: {'x' * 60}\n" for name, sid in self.sids().items()))

    def peer_remove(self, count):
        sids = self.sids()
        return self.peer(self.corp, (f"dn: {account(name)}\nchangetype: delete\n" for name in names(count))) + self.peer(
            self.pod, (f"dn: {entry(name)}\nchangetype: delete\n\n"
                       f"dn: cn={sids[name]},cn=ForeignSecurityPrincipals,{POD}\nchangetype: delete\n"
                       for name in names(count)))


def sid_text(sid):
    parts = (int.from_bytes(sid[at:at + 4], "little") for at in range(8, len(sid), 4))
    return "-".join(map(str, ("S", sid[0], int.from_bytes(sid[2:8], "big"), *parts)))


def measure(count, repetitions):
    servers = Servers()
    seconds = {"hdqadmin/add": [], "hdqadmin/remove": [], "peer/add": [], "peer/remove": []}
    for _ in range(repetitions):
        for name, step in zip(seconds, (servers.add, servers.remove, servers.peer_add, servers.peer_remove)):
            seconds[name].append(step(count))
    return [{"name": name, "run_name": name, "run_type": "iteration", "repetitions": 1,
             "real_time": statistics.median(values), "time_unit": "s"} for name, values in seconds.items()]


def main():
    match sys.argv[1:]:
        case [path, *options] if options in ([], ["--quick"]):
            if "WS_TEST_CORP_HOST" not in os.environ:
                os.execv(SERVERS / "with-pod", ["with-pod", str(SERVERS / "with-corp"), sys.executable, *sys.argv])
            rows = measure(*((20, 1) if options else (200, 5)))
            pathlib.Path(path).write_text(json.dumps({"benchmarks": rows}))
        case _:
            sys.exit(__doc__)


main()
