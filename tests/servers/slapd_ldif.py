#!/usr/bin/env python3
"""slapd_ldif.py BASE < LDIF of a domain controller > LDIF for slapadd: adds the entries that a domain controller brings
(the base, the containers of foreign principals and of deleted objects), the naming and computed attributes, and turns
"member: <SID=X>" into the name of X's foreign principal, which it adds too."""
import re
import sys

WHEN = "20240101000000.0Z"


def entry(dn, *attributes):
    print(f"dn: {dn}", *(f"{name}: {value}" for name, value in attributes), "", sep="\n")


def records(text):
    """(name, attributes) of each record; no value of the pod's LDIF is folded or in base64."""
    for block in re.split(r"\n\s*\n", re.sub(r"(?m)^#.*\n", "", text).strip()):
        attributes = [tuple(line.split(": ", 1)) for line in block.splitlines()]
        yield attributes[0][1], attributes[1:]


def main():
    base = sys.argv[1]
    principals = f"CN=ForeignSecurityPrincipals,{base}"
    found = list(records(sys.stdin.read()))
    entry(base, ("objectClass", "domainDNS"), ("dc", base.split(",")[0].split("=")[1]))
    for dn in (principals, f"CN=Deleted Objects,{base}"):
        entry(dn, ("objectClass", "container"), ("cn", dn.split(",")[0].split("=")[1]))

    sid_name = re.compile(r"<SID=(.*)>")
    sids = {m[1] for _, attributes in found for _, value in attributes if (m := sid_name.fullmatch(value))}
    for sid in sorted(sids):
        entry(f"CN={sid},{principals}", ("objectClass", "foreignSecurityPrincipal"), ("cn", sid), ("name", sid))

    for dn, attributes in found:
        kind, name = dn.split(",")[0].split("=", 1)
        attributes = [(key, sid_name.sub(rf"CN=\1,{principals}", value)) for key, value in attributes]
        computed = [(kind.lower(), name)]
        if any(value.startswith("zre-") for key, value in attributes if key == "objectClass"):
            computed += [("name", name), ("distinguishedName", dn), ("whenCreated", WHEN), ("whenChanged", WHEN)]
        entry(dn, *attributes, *computed)


main()
