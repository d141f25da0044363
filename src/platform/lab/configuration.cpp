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

// The entries are many, and known to be right: they are stored without what addEntry checks and converts.
void Directory::makeSchemaEntries() {
    const std::string schemaDn = "CN=Schema," + configurationContextOf(settings_);
    const NodeId schema = *store_.resolve(schemaDn);
    const std::string schemaKey = *dnKey(schemaDn);
    const auto id = [this](const char* name) { return store_.schema.intern(name); };
    const auto make = [&](const std::string& name, const StoredEntry& attributes) {
        const RdnPart rdn{"CN", name};
        if (store_.tree.child(schema, rdn)) return;  // what a file says of it stays
        const NodeId made = store_.tree.add(schema, rdn);
        Node& node = store_.tree.at(made);
        node.entry = PackedEntry(attributes);
        node.file = store_.file;
        node.guid = derivedGuid(dnKey({{rdn}}) + ',' + schemaKey);
        node.created = node.changed = defaultCreated;
        node.usnCreated = node.usnChanged = ++store_.usn;
        node.generated = true;
        store_.indexes.entryAdded(store_, made);
    };
    const auto displayName = id("lDAPDisplayName"), syntax = id("attributeSyntax"), oMSyntax = id("oMSyntax"),
               single = id("isSingleValued"), link = id("linkID"), subClassOf = id("subClassOf"),
               category = id("objectClassCategory");
    const auto attributeClasses = store_.schema.withSuperiors({"attributeSchema"}),
               classClasses = store_.schema.withSuperiors({"classSchema"});
    for (AttributeId of = 0; of < store_.schema.attributeCount(); ++of) {
        const auto& type = store_.schema.attribute(of);
        if (!type.declared) continue;
        const auto numbers = numbersOf(type.syntax);
        StoredEntry attributes = {{attrObjectClass, attributeClasses},
                                  {displayName, {type.name}},
                                  {syntax, {numbers.oid}},
                                  {oMSyntax, {numbers.oMSyntax}},
                                  {single, {type.single ? "TRUE" : "FALSE"}}};
        if (type.link != 0) attributes.push_back({link, {std::to_string(type.link)}});
        // As in real directories the schema's entry of an entry's own name is not named as the attribute is.
        make(of == attrDistinguishedName ? "Obj-Dist-Name" : type.name, attributes);
    }
    for (const auto& known : store_.schema.classes())
        make(known.name, {{attrObjectClass, classClasses},
                          {displayName, {known.name}},
                          {subClassOf, {known.superior == "-" ? "top" : known.superior}},
                          {category, {known.auxiliary ? "3" : "1"}}});
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
