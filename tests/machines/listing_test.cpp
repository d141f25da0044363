// What a long listing asks of the domains.
#include "machines/machine_listing.h"

#include <algorithm>

#include "identity/scripted_people.h"
#include "ldap/layout.h"
#include "support/scripted_ldap.h"

namespace {

using namespace wstest;

TEST(MachineListing, ADomainThatCannotBeReachedIsTriedOnce) {
    ScriptedPeople people;
    people.directories->openCode = [](const std::string& path) {
        return path == ScriptedPeople::partner ? adsServerDown : 0;
    };
    MachineListing listing(people.domains, true);
    constexpr int ownersPerPage = 1000, pages = 3;  // each page is a look-up of its own
    for (int page = 0; page < pages; ++page) {
        std::vector<LdapEntry> machines;
        for (int i = 0; i < ownersPerPage; ++i)
            machines.push_back(
                entry("CN=vm", {{layout::attribute::ownerSid, {sidOf(page * ownersPerPage + i + 1)}}}));
        listing.add(std::move(machines));
    }
    EXPECT_EQ(listing.finish().size(), static_cast<std::size_t>(pages * ownersPerPage));
    const auto opened = people.directories->opened();
    EXPECT_EQ(std::ranges::count(opened, ScriptedPeople::partner, &ScriptedDirectoryServices::Opened::path),
              1);
    EXPECT_GE(std::ranges::count(people.searches, ScriptedPeople::corp, &Asked::path), pages);
    people.expectAllGivenBack();
}

}  // namespace
