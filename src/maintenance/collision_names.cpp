#include "maintenance/collision_names.h"

#include <algorithm>

#include "framework/core/format.h"

namespace wsadmin {

namespace {

constexpr std::string_view collisionMark = "\nCNF:", deletionMark = "\nDEL:";

bool carries(const platform::Dn& name, std::string_view mark) {
    return std::ranges::any_of(name, [mark](const platform::Rdn& rdn) {
        return std::ranges::any_of(rdn, [mark](const platform::RdnPart& part) {
            return part.value.find(mark) != std::string::npos;
        });
    });
}

}  // namespace

Leftover leftoverOf(std::string_view dn) {
    // Only the few names that might carry a mark are taken apart.
    const auto mentions = [dn](std::string_view mark) { return dn.find(mark.substr(1)) != dn.npos; };
    if (!mentions(collisionMark) && !mentions(deletionMark)) return Leftover::none;
    const auto name = platform::parseDn(dn);
    if (!name) return Leftover::none;
    if (carries(*name, deletionMark)) return Leftover::deletion;
    return carries(*name, collisionMark) ? Leftover::collision : Leftover::none;
}

platform::Dn cleanName(platform::Dn name) {
    for (platform::Rdn& rdn : name)
        for (platform::RdnPart& part : rdn)
            part.value.resize(std::min(part.value.find(collisionMark), part.value.size()));
    return name;
}

std::vector<std::wstring> collisionSummary(const CollisionCounts& counts, bool resolving) {
    const auto line = [resolving](std::wstring_view resolved, std::wstring_view found, int number,
                                  std::wstring_view one, std::wstring_view many) {
        return CORE::formatText(resolving ? resolved : found, number, number == 1 ? one : many);
    };
    return {line(L"%d collision entry %ws resolved.", L"%d collision entry %ws found.", counts.collisions,
                 L"reference", L"references"),
            line(L"%d deleted entry %ws removed.", L"%d deleted entry %ws found.", counts.deleted,
                 L"reference", L"references"),
            line(L"%d collision %ws removed.", L"%d collision %ws found.", counts.collisionEntries, L"entry",
                 L"entries")};
}

}  // namespace wsadmin
