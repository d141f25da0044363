#include "ldap/worker.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/test_service.h"

using namespace wsadmin;
using namespace wstest;

namespace {

constexpr Key name{L"name"}, times{L"count", KeyType::integer, L"7"},
    loud{L"loud", KeyType::boolean, L"true"}, item{L"item", KeyType::textList}, other{L"other"};
constexpr Key keys[] = {name, times, loud, item};

class Sample : public Worker {
  public:
    using Worker::Worker;
    Result<void> unreachable() {
        result().set(L"begun", L"x");
        return fail(Failure{.code = 81, .text = L"No session", .directoryCode = 81});
    }
    Result<void> silent() { return fail(L""); }
};

TEST(Worker, AFailureEmptiesTheResultUnlessTheRowKeepsIt) {
    TestService service(std::make_shared<platform::Platform>());
    const auto emptied = ask<&Sample::unreachable>(service);
    EXPECT_EQ(emptied.flattenForDisplay(), L"ldaperr=81");
    EXPECT_EQ(emptied.getError(), 1);
    EXPECT_EQ(emptied.getErrorText(), L"No session");
    EXPECT_EQ((ask<&Sample::unreachable, OnFailure::keeps>(service).flattenForDisplay()),
              L"begun=x, ldaperr=81");
    EXPECT_EQ(ask<&Sample::silent>(service).getError(), 1);  // without a text, too
}

TEST(Request, ReadsThroughTheKeysOfItsRowAlone) {
    CORE::PropertyBag bag;
    const Request request(bag, keys);
    EXPECT_EQ(request.integer(times), 7);
    EXPECT_TRUE(request.boolean(loud));
    EXPECT_EQ(request.text(times), L"7");
    bag.set(L"COUNT", L"3");
    bag.set(L"loud", L"false");
    bag.add(L"item", L"a");
    bag.add(L"Item", L"");
    EXPECT_EQ(request.integer(times), 3);
    EXPECT_FALSE(request.boolean(loud));
    EXPECT_EQ(request.texts(item), (std::vector<std::wstring>{L"a", L""}));
    EXPECT_FALSE(request.has(name));
    EXPECT_THROW(static_cast<void>(request.text(other)), std::logic_error);
}

}  // namespace
