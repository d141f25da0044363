#include "federation/administrators_role.h"

#include <algorithm>
#include <vector>

#include "federation/entry_attributes.h"
#include "federation/local_layer.h"
#include "federation/names.h"
#include "federation/pod_servers.h"
#include "federation/state.h"
#include "ldap/layout.h"
#include "platform/ldap/ldap_text.h"
#include "platform/module/module_log.h"

namespace wsadmin::qrv {

namespace {

using platform::DirectoryObject;
using platform::DirectoryValue;
using Sids = std::vector<std::string>;

// One direction of the change, with the sentences for the steps that may fail.
struct MemberChange {
    platform::PutOperation operation;
    const wchar_t* unmade;
    const wchar_t* unput;
    const wchar_t* unsaved;
};
constexpr MemberChange additions{platform::PutOperation::append,
                                 L"Unable to create entries to add to the administrators role",
                                 L"Unable to add entries to the administrators role",
                                 L"Unable to save added entries to the administrators role"};
constexpr MemberChange removals{platform::PutOperation::remove,
                                L"Unable to create entries to remove from the administrators role",
                                L"Unable to remove entries from the administrators role",
                                L"Unable to save deleted entries to the administrators role"};

// The names of the members' entries, which are their SIDs.
Result<Sids> membersOf(DirectoryObject& role) {
    const auto members = role.getEx(layout::attribute::member);
    if (!members && members.error().code == platform::adsPropertyNotFound) return Sids{};
    if (!members) return fail(members.error());
    Sids sids;
    for (const DirectoryValue& member : *members)
        sids.push_back(platform::rdnValue(platform::directoryText(member)));
    return sids;
}

// Servers that are members already are not added again, and others are not removed: directories refuse the
// whole change for one such value.
Result<void> changeMembers(DirectoryObject& role, const Sids& servers, const MemberChange& change) {
    const auto members = membersOf(role);
    if (!members) return fail(members.error().code, change.unmade);
    const bool adds = change.operation == platform::PutOperation::append;
    std::vector<DirectoryValue> values;
    for (const std::string& sid : servers) {
        const bool present = std::ranges::any_of(
            *members, [&](const std::string& member) { return CORE::equalFolded(member, sid); });
        if (present != adds) values.emplace_back("<SID=" + sid + ">");
    }
    if (values.empty()) return {};
    if (const auto put = role.putEx(change.operation, layout::attribute::member, values); !put)
        return fail(put.error().code, change.unput);
    if (const auto saved = role.setInfo(); !saved) return fail(saved.error().code, change.unsaved);
    return {};
}

Result<std::unique_ptr<DirectoryObject>> openRole(platform::Platform& platform) {
    const auto configuration =
        readText(platform, globalPath(platform, rootEntry), attribute::configurationContext);
    if (!configuration)
        return fail(configuration.error().code, L"Unable to lookup configuration naming context");
    const std::string path =
        globalPath(platform, "cn=Administrators,cn=Roles," + CORE::toUtf8(*configuration));
    auto role = platform.directoryServices->openObject(path, {}, platform::adsSecureAuthentication);
    if (!role) return fail(role.error().code, L"Failed to bind to " + CORE::toWide(path));
    return role;
}

}  // namespace

Result<void> updateAdministratorsRole(platform::Platform& platform) {
    const auto removed = sidsOfServers(platform, disabled);
    if (!removed) return fail(removed.error());
    const auto added = sidsOfServers(platform, enabled);
    if (!added) return fail(added.error());
    if (removed->empty() && added->empty()) return {};
    const auto role = openRole(platform);
    if (!role) return fail(role.error());
    if (const auto done = changeMembers(**role, *added, additions); !done) return done;
    return changeMembers(**role, *removed, removals);
}

}  // namespace wsadmin::qrv
