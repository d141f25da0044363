// What a directory has beside the entries of its files: configuration, schema and root entry.
#include <algorithm>

#include "platform/lab/changes.h"
#include "platform/lab/lab_directory.h"

namespace wsadmin::platform::lab {

namespace {

struct SyntaxNumbers {
    const char* oid;
    const char* oMSyntax;
};

// As AD numbers the syntaxes of its attributes.
SyntaxNumbers numbersOf(Syntax syntax) {
    switch (syntax) {
        case Syntax::dn:
            return {"2.5.5.1", "127"};
        case Syntax::integer:
            return {"2.5.5.9", "2"};
        case Syntax::largeInteger:
            return {"2.5.5.16", "65"};
        case Syntax::boolean:
            return {"2.5.5.8", "1"};
        case Syntax::time:
            return {"2.5.5.11", "24"};
        case Syntax::sid:
            return {"2.5.5.17", "4"};
        case Syntax::octets:
        case Syntax::guid:
            return {"2.5.5.10", "4"};
        case Syntax::text:
            break;
    }
    return {"2.5.5.12", "64"};
}

}  // namespace

std::string configurationContextOf(const DirectorySettings& settings) {
    const std::string& suffix = settings.suffixes.front();
    if (settings.activeDirectory) return "CN=Configuration," + suffix;
    const auto guid = derivedGuid(dnKey("CN=Configuration," + suffix).value_or(suffix));
    return "CN=Configuration,CN={" + guidToText({guid.data(), guid.size()}) + "}";
}

// An entry that no file brought. What the files say of it stays.
void Directory::makeEntry(const std::string& dn, std::vector<LdapAttribute> attributes) {
    store_.loading = true;
    if (!store_.resolve(dn))
        if (const auto made = addEntry(store_, {dn, std::move(attributes)}))
            store_.tree.at(*made).generated = true;
    store_.loading = false;
}

void Directory::makeConfiguration() {
    const auto configuration = configurationContextOf(settings_);
    const auto schema = "CN=Schema," + configuration;
    for (const auto& context : {configuration, schema}) store_.addContext(context);
    makeEntry(configuration, {{"objectClass", {"configuration"}}});
    // A file may hold tombstones of servers.
    if (const auto made = store_.resolve(configuration)) tombstonesOf(store_, *made);
    makeEntry(schema, {{"objectClass", {"dMD"}}});
    makeEntry("CN=Partitions," + configuration, {{"objectClass", {"crossRefContainer"}}});
    makeEntry("CN=Sites," + configuration, {{"objectClass", {"sitesContainer"}}});
    const auto site = "CN=Default-First-Site-Name,CN=Sites," + configuration;
    makeEntry(site, {{"objectClass", {"site"}}});
    makeEntry("CN=Servers," + site, {{"objectClass", {"serversContainer"}}});
    const auto server = "CN=" + settings_.hostName + (settings_.activeDirectory ? "" : "$" + settings_.name) +
                        ",CN=Servers," + site;
    makeEntry(server, {{"objectClass", {"server"}}, {"dNSHostName", {settings_.dnsHostName}}});
    makeEntry("CN=NTDS Settings," + server, {{"objectClass", {"nTDSDSA"}}, {"options", {"1"}}});
}

void Directory::makeSchemaEntries() {
    const std::string schemaDn = "CN=Schema," + configurationContextOf(settings_);
    for (AttributeId id = 0; id < store_.schema.attributeCount(); ++id) {
        const auto type = store_.schema.attribute(id);
        if (!type.declared) continue;
        const auto numbers = numbersOf(type.syntax);
        std::vector<LdapAttribute> attributes = {{"objectClass", {"attributeSchema"}},
                                                 {"lDAPDisplayName", {type.name}},
                                                 {"attributeSyntax", {numbers.oid}},
                                                 {"oMSyntax", {numbers.oMSyntax}},
                                                 {"isSingleValued", {type.single ? "TRUE" : "FALSE"}}};
        if (type.link != 0) attributes.push_back({"linkID", {std::to_string(type.link)}});
        // As in real directories the schema's entry of an entry's own name is not named as the attribute is.
        const std::string name = id == attrDistinguishedName ? "Obj-Dist-Name" : type.name;
        makeEntry("CN=" + name + "," + schemaDn, std::move(attributes));
    }
    for (const auto& known : store_.schema.classes())
        makeEntry("CN=" + known.name + "," + schemaDn,
                  {{"objectClass", {"classSchema"}},
                   {"lDAPDisplayName", {known.name}},
                   {"subClassOf", {known.superior == "-" ? "top" : known.superior}},
                   {"objectClassCategory", {known.auxiliary ? "3" : "1"}}});
}

void Directory::makeRootEntry() {
    const std::string configurationDn = configurationContextOf(settings_);
    const auto& suffix = settings_.suffixes.front();
    const auto server = "CN=" + settings_.hostName + (settings_.activeDirectory ? "" : "$" + settings_.name) +
                        ",CN=Servers,CN=Default-First-Site-Name,CN=Sites," + configurationDn;
    StoredEntry root;
    const auto set = [&](const char* name, std::vector<std::string> values) {
        root.push_back({store_.schema.intern(name), std::move(values)});
    };
    set("namingContexts", store_.suffixes);
    set("defaultNamingContext", {suffix});
    set("rootDomainNamingContext", {suffix});
    set("configurationNamingContext", {configurationDn});
    set("schemaNamingContext", {"CN=Schema," + configurationDn});
    set("serverName", {server});
    set("dsServiceName", {"CN=NTDS Settings," + server});
    set("dNSHostName", {settings_.dnsHostName});
    set("supportedLDAPVersion", {"3", "2"});
    set("supportedControl",
        {controls::pagedResults, controls::showDeleted, controls::treeDelete, controls::domainScope});
    // That it is AD LDS, or AD with its own ways.
    set("supportedCapabilities",
        {settings_.activeDirectory ? "1.2.840.113556.1.4.800" : "1.2.840.113556.1.4.1851"});
    set("isSynchronized", {"TRUE"});
    store_.tree.at(rootNode).entry = PackedEntry(root);
}

}  // namespace wsadmin::platform::lab
