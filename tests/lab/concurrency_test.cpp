// Many sessions at once on one directory; the thread sanitizer watches.
#include <atomic>
#include <thread>

#include "lab/directory_fixture.h"

namespace wsadmin::platform::lab {
namespace {

TEST(LabConcurrency, ReadersAndWritersTogether) {
    constexpr int rounds = 60, writers = 3, readers = 3;
    TestDirectory test(std::string(testContent) + "\ndn: CN=g,DC=t\nobjectClass: group\n");
    std::atomic<int> failures{0};
    const auto expect = [&](const auto& done) { failures += done ? 0 : 1; };
    std::vector<std::thread> threads;
    for (int w = 0; w < writers; ++w)
        threads.emplace_back([&, w] {
            const auto session = test.bound();
            for (int i = 0; i < rounds; ++i) {
                const std::string cn = "w" + std::to_string(w) + "-" + std::to_string(i),
                                  dn = "CN=" + cn + ",OU=a,DC=t";
                expect(session->add({dn, {{"objectClass", {"zre-VM"}}, {"zre-VmState", {"READY"}}}}));
                expect(session->modify("CN=g,DC=t", {{LdapModify::add, "member", {dn}}}));
                expect(session->modify(dn, {{LdapModify::replace, "zre-VmState", {"ERROR"}}}));
                if (i % 2 == 0) expect(session->remove(dn));
            }
        });
    for (int r = 0; r < readers; ++r)
        threads.emplace_back([&, r] {
            const auto session = test.bound();
            // Each reader asks for another attribute, so that indexes are built while others read.
            const std::string filters[] = {"(zre-VmState=READY)", "(objectClass=zre-VM)",
                                           "(member=CN=w0-1,OU=a,DC=t)"};
            for (int i = 0; i < rounds; ++i) {
                std::string cookie;
                do {
                    const auto page = session->search(
                        {.base = "DC=t",
                         .filter = filters[r],
                         .controls = {{controls::pagedResults, encodePageControl({7, cookie}), true}}});
                    expect(page);
                    if (!page) break;
                    for (const auto& entry : page->entries) expect(!entry.first("distinguishedName").empty());
                    cookie = decodePageControl(page->controls.at(0).value)->cookie;
                } while (!cookie.empty());
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(failures, 0);
    const auto session = test.bound();
    constexpr std::size_t left = writers * rounds / 2;
    EXPECT_EQ(session->search({.base = "DC=t", .filter = "(zre-VmState=error)"})->entries.size(), left);
    EXPECT_EQ(session->search({.base = "DC=t", .filter = "(cn=g)"})->entries.at(0).all("member").size(),
              left);
}

}  // namespace
}  // namespace wsadmin::platform::lab
