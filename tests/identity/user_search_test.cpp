// People are looked for in the next domain where one fails at any step.
#include "identity/user_search.h"

#include "identity/group.h"
#include "identity/scripted_people.h"

using namespace wstest;
using namespace wsadmin;

namespace {

TEST(UserSearch, PassesOverDomainsThatCannotBeAsked) {
    const struct {
        Answer forest;
        const wchar_t* line = nullptr;
        bool catalogueDown = false;
    } rows[] = {
        {{}, L"Bind to GC: failed", true},
        {{.code = adsServerDown}, L"Search failed on binding GC:"},
        {{.lastCode = adsServerDown}, L"Search failed on binding GC:"},
        {{.rows = {{}}, .columnCode = adsServerDown}, L"Search failed on binding GC:"},
        {{.rows = {{}}}},  // an entry without SID
        {{.rows = {{{"objectSid", {DirectoryBytes{"no SID"}}}}}}},
    };
    for (const auto& row : rows) {
        ScriptedPeople people;
        if (row.catalogueDown) people.directories->objects.erase("GC:");
        people.answer = [&](const Asked& asked) {
            if (asked.path == ScriptedPeople::catalogue) return row.forest;
            return Answer{.rows = {{{"objectSid", {sidValue(1102)}}}}};
        };
        const LogCapture log(CORE::logWarning);
        EXPECT_EQ(ask<&Group::upnToSid>(people.service, requestOf(L"upn", {"alice"})).utf8(L"SID"),
                  sidOf(1102));
        EXPECT_TRUE(!row.line || log.contains(CORE::logWarning, row.line)) << row.line;
        people.expectAllGivenBack();
    }
}

}  // namespace
