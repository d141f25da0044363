#include <gtest/gtest.h>

#include "identity/user_search.h"

namespace {

TEST(CertificateIdentity, IsTheMappingThatADirectoryKeeps) {
    const struct {
        const char *subject, *issuer;
        std::optional<std::string> identity;
    } rows[] = {
        {"CN=Alice, O=Corp, C=EX", "CN=Corp CA,C=EX", "X509:<I>C=EX,CN=Corp CA<S>C=EX,O=Corp,CN=Alice"},
        {"CN=Alice", "", "X509:<S>CN=Alice"},
        {"", "CN=Corp CA,C=EX", "X509:<I>C=EX,CN=Corp CA"},
        {R"(CN=Doe\, Jane,O="A, B")", "", R"(X509:<S>O="A, B",CN=Doe\, Jane)"},
        {"", "", std::nullopt},
        {"Alice", "", std::nullopt},
        {"CN=Alice", "Corp CA", std::nullopt},
    };
    for (const auto& row : rows)
        EXPECT_EQ(wsadmin::certificateIdentity(row.subject, row.issuer), row.identity) << row.subject;
}

}  // namespace
