#include "platform/factory/configuration.h"

#include "framework/core/corestring.h"
#include "platform/platform.h"
#include "support/rows.h"
#include "support/temp_folder.h"

namespace wsadmin::platform {
namespace {

using wstest::Json;
using wstest::orNull;

Json allOf(const DirectoryRoute& route) {
    constexpr const char* startTls[] = {"never", "leavingTheMachine", "required"};
    constexpr const char* methods[] = {"negotiate", "simple", "anonymous"};
    const auto time = [](const auto& limit) { return limit ? Json(limit->count()) : Json(); };
    const auto& [entries, bytes, waiting] = route.limits;
    Json shown;
    shown["asked"] = Json::array({route.askedHost, orNull(route.askedPort)});
    shown["reached"] = Json::array({route.host, orNull(route.port)});
    shown["timeouts"] = Json::array({time(route.connectTimeout), time(route.operationTimeout)});
    shown["tls"] = route.tls;
    shown["startTls"] = startTls[static_cast<int>(route.startTls)];
    shown["passwordInClear"] = route.passwordInClear;
    shown["verifyCertificate"] = route.verifyCertificate;
    shown["caFile"] = route.caFile;
    shown["limits"] = Json::array({entries, bytes, waiting.count()});
    if (const auto& who = route.credentials)
        shown["credentials"] = Json::array({methods[static_cast<int>(who->method)], who->user, who->domain,
                                            std::string(who->password.view())});
    return shown;
}

// What the file says, without what is as ever.
Json read(const Json& in) {
    const wstest::TempFolder folder;
    folder.write("pod.password",
                 "\xEF\xBB\xBF"
                 "from \"file\" \r\n");
    folder.write("empty", "\n");
    const std::string file = folder.write("c.toml", in.get<std::string>());
    const auto configuration = readConfiguration(file);
    if (!configuration) {
        const std::string sentence = CORE::toUtf8(configuration.error().text);
        EXPECT_TRUE(sentence.starts_with(file)) << sentence;
        return "! " + sentence.substr(std::min(file.size(), sentence.size()));
    }
    Json shown = Json::object();
    if (!configuration->defaultDomain.empty()) shown["domain"] = configuration->defaultDomain;
    if (!configuration->processAccount.empty()) shown["account"] = configuration->processAccount;
    const Json usual = allOf({});
    for (const DirectoryRoute& route : configuration->routes) {
        const Json all = allOf(route);
        Json& set = shown["routes"].emplace_back();
        for (const auto& [name, value] : all.items())
            if (!usual.contains(name) || usual[name] != value) set[name] = value;
    }
    return shown;
}

Json accounts(const Json& in) {
    const wstest::TempFolder folder;
    CORE::PropertyBag bag;
    bag.set(configurationKey, folder.write("c.toml", in.get<std::string>()));
    const auto machine = createPlatform(bag).value();
    return Json::array({CORE::toUtf8(machine->processAccount), CORE::toUtf8(machine->directoryAccount)});
}

TEST(Configuration, IsReadOrSaysWhatIsWrongAndWhere) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/factory/rows.jsonl", {{"read", read}, {"accounts", accounts}});
    EXPECT_TRUE(wstest::hasPart(read("\xff"), "! :1: "));
#if defined(_WIN32)
    EXPECT_EQ(read("directory-services = \"adsi\"\n[directory]\nuser = \"u\"\npassword = \"p\""),
              "! :1: ADSI binds as the process and not as a configured user; use \"portable\"");
#endif
    EXPECT_EQ(readConfiguration("absent.toml").error().text, L"absent.toml: the file cannot be read");
}

TEST(Configuration, WarnsOfCertificatesThatAreNotChecked) {
    const wstest::TempFolder folder;
    const auto read = readConfiguration(
        folder.write("c.toml", "[directory]\nhost = \"a.example\"\ntls = true\nverify-certificate = false"));
    EXPECT_EQ(read.value().warnings,
              std::vector<std::wstring>{L"The certificate of a.example is not checked: "
                                        L"whoever answers in its place gets what is sent"});
}

#if !defined(_WIN32)
TEST(Configuration, WarnsOfPasswordsThatOthersCanRead) {
    const wstest::TempFolder folder;
    const auto file = folder.write("c.toml", "[directory]\nuser = \"u\"\npassword = \"unspoken\"");
    using std::filesystem::perms;
    std::filesystem::permissions(file, perms::owner_read);
    EXPECT_TRUE(readConfiguration(file).value().warnings.empty());
    std::filesystem::permissions(file, perms::owner_read | perms::others_read);
    EXPECT_EQ(readConfiguration(file).value().warnings,
              std::vector{CORE::toWide(file) + L" holds a password and others than its owner can read it"});
}
#endif

}  // namespace
}  // namespace wsadmin::platform
