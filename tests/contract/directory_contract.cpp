// What every directory answers, over answers.jsonl, and what rows cannot say.
#include "contract/directory_under_test.h"
#include "lab/ldap_rows.h"

namespace wsadmin::platform {
namespace {

// "\\\\01\\\\05...", as a row has bytes in a filter.
std::string escapedBytes(const std::string& bytes) {
    std::string text;
    for (const char byte : bytes) text += CORE::toUtf8(CORE::formatText(L"\\\\%02x", byte & 0xff));
    return text;
}

TEST_P(DirectoryContract, AnswersAsTheRowsSay) {
    const bool isDomain = GetParam() == "domain";
    for (const auto& block : wstest::ldapBlocks(WS_SOURCE_DIR "/tests/contract/answers.jsonl")) {
        const bool fits = block.head.contains("each") || block.head.contains("domain") == isDomain;
        if (isLab() && !fits) continue;
        makePlace();
        std::map<std::string, std::string> names = {
            {"$PLACE", place()}, {"$NAME", rdnValue(place())}, {"$SUFFIX", suffix()}};
        // SIDs that no other block uses.
        const std::string number = rdnValue(place()).substr(sizeof "contract-" - 1);
        for (const std::string digit : {"1", "2", "3", "4", "5", "6"})
            names["$SID" + digit] = "S-1-5-21-7-" + number + "-" + digit + "-1000";
        names["$BYTES"] = escapedBytes(Sid::parse(names["$SID1"]).value().bytes());
        wstest::LdapRows rows([this](const wstest::Json&) { return directory_->open(); },
                              directory_->credentials, place(), names);
        rows.tryAll(block, isLab() ? "lab" : "samba");
    }
}

TEST_P(DirectoryContract, SeveralSearchesOnTheirWay) {
    make("CN=one");
    make("CN=two");
    const auto start = [&](const std::string& filter, const std::string& base) {
        return session_->startSearch({base, LdapScope::subtree, filter, {"cn"}, {}, 0}).value();
    };
    const auto first = start("(cn=one)", place()), second = start("(cn=two)", place());
    auto dropped = start("(cn=*)", place());
    const auto failing = start("(cn=*)", at("CN=nope"));
    dropped.reset();
    EXPECT_EQ(second->wait().value().entries.at(0).first("cn"), "two");
    EXPECT_EQ(first->wait().value().entries.at(0).first("cn"), "one");
    EXPECT_EQ(codeOf(failing->wait()), ldapNoSuchObject);
}

INSTANTIATE_TEST_SUITE_P(Each, DirectoryContract, testing::Values("lab", "domain", "server"), nameOf);

}  // namespace
}  // namespace wsadmin::platform
