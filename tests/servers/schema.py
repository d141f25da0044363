#!/usr/bin/env python3
"""schema.py ad BASE FOLDER | slapd FILE: makes the schema files of a test server from schema.txt.

ad: FOLDER/1-attributes.ldif, 2-classes.ldif, 3-classes.ldif (classes that name classes of the second file) to be
added and 4-extensions.ldif to be applied, in this order. slapd: one schema file, to be included after ad.schema.
"""
import dataclasses
import pathlib
import sys

ARC = "1.3.6.1.4.1.32473.100"  # 32473 is the enterprise number set aside for examples
CONTAINERS = ["container", "organizationalUnit", "domainDNS"]
AD_SYNTAX = {"string": ("2.5.5.12", 64), "integer": ("2.5.5.9", 2), "dn": ("2.5.5.1", 127), "time": ("2.5.5.11", 24)}
DN_CLASS = "KwwCh3McAIVK"  # the object class of DN-valued attributes, BER in base64
LDAP = "1.3.6.1.4.1.1466.115.121.1"
SLAPD_SYNTAX = {
    "string": f"EQUALITY caseIgnoreMatch SUBSTR caseIgnoreSubstringsMatch SYNTAX {LDAP}.15",
    "integer": f"EQUALITY integerMatch SYNTAX {LDAP}.27",
    "dn": f"EQUALITY distinguishedNameMatch SYNTAX {LDAP}.12",
    "time": f"EQUALITY generalizedTimeMatch SYNTAX {LDAP}.24",
}
# What every entry of Active Directory has by itself and slapd must be told to allow.
COMMON = ["name", "description", "objectGUID", "whenCreated", "whenChanged", "distinguishedName"]


@dataclasses.dataclass
class Definition:
    name: str
    words: list
    attributes: list

    def after(self, keyword):
        """The words behind a keyword, up to the next one."""
        if keyword not in self.words:
            return []
        rest = self.words[self.words.index(keyword) + 1:]
        return [w for i, w in enumerate(rest) if not {"of", "in"} & set(rest[: i + 1])]


def read(path):
    found = {"attribute": [], "class": [], "extend": []}
    for number, line in enumerate(path.read_text().splitlines(), 1):
        if not line.strip() or line.startswith("#"):
            continue
        if line[0] == " ":
            last.attributes += line.split()
            continue
        kind, name, *words = line.split()
        if kind not in found:
            sys.exit(f"{path}:{number}: '{kind}' is neither attribute, class nor extend")
        last = Definition(name, words, [])
        found[kind].append(last)
    return found


def lines(*pairs):
    return "".join(f"{name}: {value}\n" for name, value in pairs) + "\n"


def ad_attribute(number, attribute, schema):
    syntax, om_syntax = AD_SYNTAX[attribute.words[0]]
    name = attribute.name
    return lines(
        ("dn", f"CN={name},{schema}"), ("objectClass", "attributeSchema"), ("cn", name), ("lDAPDisplayName", name),
        ("attributeID", f"{ARC}.1.{number}"), ("attributeSyntax", syntax), ("oMSyntax", om_syntax),
        *([("oMObjectClass:", DN_CLASS)] if attribute.words[0] == "dn" else []),
        ("isSingleValued", "FALSE" if "multi" in attribute.words else "TRUE"),
        ("searchFlags", int("indexed" in attribute.words)))


def ad_class(number, cls, schema):
    structural = cls.words[0] == "structural"
    return lines(
        ("dn", f"CN={cls.name},{schema}"), ("objectClass", "classSchema"), ("cn", cls.name),
        ("lDAPDisplayName", cls.name), ("governsID", f"{ARC}.2.{number}"),
        ("objectClassCategory", 1 if structural else 3), ("subClassOf", (cls.after("of") or ["top"])[0]),
        ("rDNAttID", "cn"), *(("mayContain", a) for a in cls.attributes),
        *(("possSuperiors", s) for s in (CONTAINERS + cls.after("in") if structural else [])),
        ("defaultHidingValue", "FALSE"))


def write_ad(found, base, folder):
    schema = f"CN=Schema,CN=Configuration,{base}"
    classes = list(enumerate(found["class"], 1))
    late = [c for c in classes if c[1].after("of") or c[1].after("in")]
    texts = {
        "1-attributes": [ad_attribute(n, a, schema) for n, a in enumerate(found["attribute"], 1)],
        "2-classes": [ad_class(n, c, schema) for n, c in classes if (n, c) not in late],
        "3-classes": [ad_class(n, c, schema) for n, c in late],
        "4-extensions": [
            lines(("dn", f"CN={e.name.capitalize()},{schema}"), ("changetype", "modify"), ("add", "mayContain"),
                  *(("mayContain", a) for a in e.attributes)) for e in found["extend"]],
    }
    for name, text in texts.items():
        (folder / f"{name}.ldif").write_text("".join(text))


def write_slapd(found, path):
    text = []
    for number, attribute in enumerate(found["attribute"], 1):
        single = "" if "multi" in attribute.words else " SINGLE-VALUE"
        text.append(f"attributetype ( {ARC}.1.{number} NAME '{attribute.name}' "
                    f"{SLAPD_SYNTAX[attribute.words[0]]}{single} )")
    for number, cls in enumerate(found["class"], 1):
        superior = (cls.after("of") or ["top"])[0]
        may = cls.attributes + (COMMON if cls.words[0] == "structural" and superior == "top" else [])
        text.append(f"objectclass ( {ARC}.2.{number} NAME '{cls.name}' SUP {superior} {cls.words[0].upper()} "
                    f"MAY ( {' $ '.join(may)} ) )")
    path.write_text("\n".join(text) + "\n")


def main():
    found = read(pathlib.Path(__file__).with_name("schema.txt"))
    match sys.argv[1:]:
        case ["ad", base, folder]:
            write_ad(found, base, pathlib.Path(folder))
        case ["slapd", file]:
            write_slapd(found, pathlib.Path(file))
        case _:
            sys.exit(__doc__)


main()
