#!/usr/bin/env python3
"""directory.py MACHINES USERS POOLS FOLDER: writes FOLDER/pod.ldif, FOLDER/corp.ldif and FOLDER/root.ldif, for slapadd and
for slapd's own entry: a pod's directory and that of its users' domain, the same for the same numbers.

Users stand in departments, these in divisions, these in sites: groups of groups. These have no "member", which to slapd
is a kind of distinguishedName: whoever asks for names would be told all members. A pool belongs to a division; nine tenths
of its machines have an owner from there, who owns one in several pools. Its desktop entitles, by turns, the division's
departments, the division, the site or the owners one by one. One user in a hundred has moved to another site, and is still
the owner of what was left behind."""
import base64
import pathlib
import random
import struct
import sys
import uuid

POD = "DC=vdi,DC=talvex,DC=int"
CORP = "DC=corp,DC=example"
CONFIGURATION = f"CN=Configuration,{CORP}"
SCHEMA = f"CN=Schema,{CONFIGURATION}"
DOMAIN_SID = (21, 2000, 2000, 2000)
WHEN = "20240101000000.0Z"
SECURITY_GROUP, DISTRIBUTION_GROUP = -2147483646, 2
FIRST_USER, FIRST_GROUP, DOMAIN_USERS = 100000, 2000, 513
DIVISIONS, DEPARTMENTS_OF_DIVISION, DIVISIONS_OF_SITE = 40, 5, 4
MOVED = 100  # one user in so many
# What a client has to know the types of: name, attributeSyntax, oMSyntax. All others are texts.
TYPED = [("objectSid", "2.5.5.17", 4), ("tokenGroups", "2.5.5.17", 4), ("memberOf", "2.5.5.1", 127),
         ("member", "2.5.5.1", 127), ("distinguishedName", "2.5.5.1", 127), ("groupType", "2.5.5.9", 2),
         ("primaryGroupID", "2.5.5.9", 2), ("userAccountControl", "2.5.5.9", 2),
         ("msDS-User-Account-Control-Computed", "2.5.5.9", 2), ("accountExpires", "2.5.5.16", 65),
         ("logonHours", "2.5.5.10", 4), ("ntMixedDomain", "2.5.5.9", 2)]


class Ldif:
    def __init__(self, path):
        self.file = open(path, "w", encoding="utf-8")

    def entry(self, dn, *attributes):
        lines = [f"dn: {dn}"]
        for name, value in attributes:
            lines.append(f"{name}:: {base64.b64encode(value).decode()}" if isinstance(value, bytes) else f"{name}: {value}")
        self.file.write("\n".join(lines) + "\n\n")

    def named(self, dn, *attributes):
        """An entry with what a domain controller adds to every one."""
        kind, name = dn.split(",")[0].split("=", 1)
        self.entry(dn, *attributes, (kind.lower(), name), ("name", name), ("distinguishedName", dn),
                   ("whenCreated", WHEN), ("whenChanged", WHEN))

    def container(self, dn, kind="container"):
        self.entry(dn, ("objectClass", kind), tuple(dn.split(",")[0].split("=", 1)))


def sid_text(rid):
    return "S-1-5-" + "-".join(map(str, (*DOMAIN_SID, rid)))


def sid_bytes(rid):
    return bytes((1, 5)) + (5).to_bytes(6, "big") + struct.pack("<5I", *DOMAIN_SID, rid)


class Groups:
    """Departments, divisions and sites by their numbers, each in the next; and mailing lists beside them."""

    def __init__(self):
        self.departments = DIVISIONS * DEPARTMENTS_OF_DIVISION
        sites = DIVISIONS // DIVISIONS_OF_SITE
        self.names = ([f"Department {i:03}" for i in range(self.departments)] +
                      [f"Division {i:02}" for i in range(DIVISIONS)] + [f"Site {i:02}" for i in range(sites)] +
                      [f"Mailing List {i:02}" for i in range(50)])
        self.lists = len(self.names) - 50

    @staticmethod
    def has_moved(user):
        return user % MOVED == MOVED // 2

    def department_of(self, user):
        away = self.departments // 2 if self.has_moved(user) else 0
        return (user + away) % self.departments

    def division(self, number):
        return self.departments + number

    def site_of_division(self, number):
        return self.departments + DIVISIONS + number // DIVISIONS_OF_SITE

    def above(self, group):
        if group < self.departments:
            return self.division(group // DEPARTMENTS_OF_DIVISION)
        return self.site_of_division(group - self.departments) if group < self.departments + DIVISIONS else None

    def of(self, user):
        return [self.department_of(user), self.lists + user % 50]

    def all_of(self, user):
        groups = [self.department_of(user)]
        while (above := self.above(groups[-1])) is not None:
            groups.append(above)
        return groups

    def dn(self, group):
        return f"CN={self.names[group]},OU=Groups,{CORP}"

    @staticmethod
    def rid(group):
        return FIRST_GROUP + group


class Users:
    @staticmethod
    def dn(user):
        return f"CN=Alex Example {user:05},OU=Staff,{CORP}"

    @staticmethod
    def rid(user):
        return FIRST_USER + user


def write_corp(path, users, groups):
    out = Ldif(path)
    out.entry(CORP, ("objectClass", "domainDNS"), ("objectClass", "samDomain"), ("dc", "corp"), ("ntMixedDomain", 0))
    for dn in (CONFIGURATION, SCHEMA, f"CN=Partitions,{CONFIGURATION}", f"CN=System,{CORP}", f"CN=Users,{CORP}"):
        out.container(dn)
    for name in ("Staff", "Groups"):
        out.container(f"OU={name},{CORP}", "organizationalUnit")
    out.named(f"CN=CORP,CN=Partitions,{CONFIGURATION}", ("objectClass", "crossRef"), ("nCName", CORP),
              ("dnsRoot", "corp.example"), ("nETBIOSName", "CORP"))
    for name, syntax, om_syntax in TYPED:
        out.named(f"CN={name},{SCHEMA}", ("objectClass", "attributeSchema"), ("lDAPDisplayName", name),
                  ("attributeSyntax", syntax), ("oMSyntax", om_syntax))
    out.named(f"CN=Domain Users,CN=Users,{CORP}", ("objectClass", "group"), ("objectSid", sid_bytes(DOMAIN_USERS)),
              ("sAMAccountName", "Domain Users"), ("groupType", SECURITY_GROUP))
    for group, name in enumerate(groups.names):
        above = groups.above(group) if group < groups.lists else None
        out.named(groups.dn(group), ("objectClass", "group"), ("objectSid", sid_bytes(groups.rid(group))),
                  ("sAMAccountName", name),
                  ("groupType", SECURITY_GROUP if group < groups.lists else DISTRIBUTION_GROUP),
                  *([("memberOf", groups.dn(above))] if above is not None else []))
    for user in range(users):
        account = f"alex{user:05}"
        out.named(Users.dn(user), ("objectClass", "user"), ("objectSid", sid_bytes(Users.rid(user))),
                  ("sAMAccountName", account), ("userPrincipalName", f"{account}@corp.example"),
                  ("mail", f"{account}@mail.example"), ("givenName", "Alex"), ("sn", f"Example {user:05}"),
                  ("userAccountControl", 512), ("msDS-User-Account-Control-Computed", 0),
                  ("accountExpires", 9223372036854775807), ("primaryGroupID", DOMAIN_USERS),
                  *(("memberOf", groups.dn(group)) for group in groups.of(user)),
                  *(("tokenGroups", sid_bytes(rid))
                    for rid in (*map(groups.rid, groups.all_of(user)), DOMAIN_USERS)))


class Pool:
    """A pool and what of the machines' numbers is its own."""

    def __init__(self, number, users):
        self.number, self.division = number, number % DIVISIONS
        self.dn = f"CN=pool-{number:04},OU=Server Groups,{POD}"
        self.turn = number // DIVISIONS
        of_division = DEPARTMENTS_OF_DIVISION * DIVISIONS
        first = self.division * DEPARTMENTS_OF_DIVISION
        self.people = [user for user in range(users) if first <= user % of_division < first + DEPARTMENTS_OF_DIVISION]

    def owner(self, machine, machines_of_pool):
        """Of the pool's machine of that number; one in ten has none."""
        if (machine * 7 + self.turn // 3) % 10 == 9:
            return None
        return self.people[(self.turn * machines_of_pool + machine) % len(self.people)]

    def entitled(self, groups, owners):
        """The identifiers of those that the desktop entitles."""
        first = self.division * DEPARTMENTS_OF_DIVISION
        return [[groups.rid(first + i) for i in range(DEPARTMENTS_OF_DIVISION)],
                [groups.rid(groups.division(self.division))],
                [groups.rid(groups.site_of_division(self.division))],
                sorted({Users.rid(owner) for owner in owners if not groups.has_moved(owner)})][self.turn % 4]


def write_machine(out, number, pool, machine, owner):
    name = f"vm-{pool.number:04}-{machine:04}"
    kind, state = ("zre-PM", "AVAILABLE") if number % 50 == 49 else ("zre-VM", "READY")
    holder = []
    if owner is not None:
        holder.append(("zre-SIDString", sid_text(Users.rid(owner))))
        if number % 40 == 0:
            holder += [("zre-mVDIOfflineUser", sid_text(Users.rid(owner))), ("zre-mVDIOfflineState", "checked out")]
    out.named(f"CN={uuid.UUID(int=0x40008000 << 64 | number)},OU=Servers,{POD}", ("objectClass", kind),
              ("zre-DisplayName", name), ("zre-MemberDNOf", pool.dn), *holder, ("zre-VmState", state),
              ("zre-MOID", f"vm-{100000 + number}"), ("ipHostNumber", f"10.{number >> 16}.{number >> 8 & 255}.{number & 255}"),
              ("zre-ipHostNumberOverride", f"{name}.desktops.example"),
              ("zre-VmPath", f"/Datacenter/vm/Desktops/pool-{pool.number:04}/{name}"),
              ("zre-VmTemplateName", f"/Datacenter/vm/Templates/desktop-{pool.number % 8}"),
              ("zre-VmCreated", "2024-03-15 08:30:00 UTC"))


def write_pod(path, machines, users, pools, groups):
    out = Ldif(path)
    out.entry(POD, ("objectClass", "domainDNS"), ("dc", "vdi"))
    out.container(f"CN=ForeignSecurityPrincipals,{POD}")
    for name in ("Servers", "Server Groups", "Applications", "Policies", "Groups", "Properties", "Folders"):
        out.container(f"OU={name},{POD}", "organizationalUnit")
    for parent in (f"OU=Properties,{POD}", f"OU=QRV,OU=Properties,{POD}"):
        if parent.startswith("OU=QRV"):
            out.container(parent, "organizationalUnit")
        for name in ("Global", "Server"):
            out.container(f"OU={name},{parent}", "organizationalUnit")
    out.named(f"CN=Common,OU=Global,OU=Properties,{POD}", ("objectClass", "zre-PropertyObject"),
              ("zre-ClusterName", "Cluster-POD1"))
    servers = [f"CN=vc{i},OU=Properties,{POD}" for i in range(4)]
    for i, dn in enumerate(servers):
        out.named(dn, ("objectClass", "zre-Nodarium"), ("zre-NDURL", f"https://vc{i}.corp.example:443/sdk"))

    all_pools = [Pool(number, users) for number in range(pools)]
    share = machines // pools
    principals = set()
    for pool in all_pools:
        owners = [o for o in (pool.owner(machine, share) for machine in range(share)) if o is not None]
        entitled = [sid_text(rid) for rid in pool.entitled(groups, owners)]
        principals.update(entitled)
        out.named(pool.dn, ("objectClass", "zre-ServerPool"), ("zre-DisplayName", f"Pool {pool.number:04}"),
                  ("zre-ServerPoolType", 3), ("zre-Disabled", 0), ("zre-NDDN", servers[pool.number % len(servers)]))
        out.named(f"CN=desktop-{pool.number:04},OU=Applications,{POD}", ("objectClass", "zre-DesktopApplication"),
                  ("zre-DisplayName", f"Desktop {pool.number:04}"), ("zre-Servers", pool.dn), ("zre-Disabled", 0),
                  *(("member", f"CN={sid},CN=ForeignSecurityPrincipals,{POD}") for sid in entitled))
    for sid in sorted(principals):
        out.entry(f"CN={sid},CN=ForeignSecurityPrincipals,{POD}", ("objectClass", "foreignSecurityPrincipal"),
                  ("cn", sid), ("name", sid))
    # Machines of all pools were made as they were needed: their entries stand in no order.
    places = [(pool, machine) for pool in all_pools for machine in range(share)]
    random.Random(1).shuffle(places)
    for number, (pool, machine) in enumerate(places):
        write_machine(out, number, pool, machine, pool.owner(machine, share))


def write_root(path):
    Ldif(path).entry("", ("defaultNamingContext", CORP), ("rootDomainNamingContext", CORP),
                     ("configurationNamingContext", CONFIGURATION), ("schemaNamingContext", SCHEMA))


def main():
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    machines, users, pools = map(int, sys.argv[1:4])
    folder = pathlib.Path(sys.argv[4])
    groups = Groups()
    write_corp(folder / "corp.ldif", users, groups)
    write_pod(folder / "pod.ldif", machines, users, pools, groups)
    write_root(folder / "root.ldif")


if __name__ == "__main__":
    main()
