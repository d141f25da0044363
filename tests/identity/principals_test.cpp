#include "identity/principals.h"

#include <gtest/gtest.h>

namespace {

using namespace wsadmin;

TEST(Principals, AListWithOneThatIsNoSidIsRefusedWhole) {
    CORE::PropertyBag request;
    request.add(L"sid", L"S-1-5-18");
    request.add(L"SID", L"s-1-5-21-1-2-3-1103");
    const auto sids = sidList(request);
    ASSERT_TRUE(sids);
    ASSERT_EQ(sids->size(), 2U);
    EXPECT_EQ(principalDn(sids->back()),
              "cn=S-1-5-21-1-2-3-1103,cn=ForeignSecurityPrincipals,dc=vdi,dc=talvex,dc=int");

    request.add(L"sid", L"*)(cn=*");
    const auto refused = sidList(request);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().text, L"\"*)(cn=*\" is no SID");
}

}  // namespace
