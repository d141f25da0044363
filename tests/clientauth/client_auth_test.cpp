// What cases cannot say of client accounts: who binds, what ends a wait, what two requests at once leave, and
// which texts no log has; and over rows.jsonl the devices' identifiers and the passwords made for them.
#include "clientauth/client_auth.h"

#include <algorithm>
#include <future>

#include "clientauth/client_auth_config.h"
#include "clientauth/client_identifier.h"
#include "clientauth/generated_password.h"
#include "framework/core/security.h"
#include "identity/pod_lab.h"
#include "platform/startup.h"
#include "support/log_capture.h"
#include "support/manual_clock.h"
#include "support/rows.h"
#include "support/scripted_ldap.h"

namespace wsadmin {
namespace {

using namespace wstest;

// Of an identifier and the configured prefixes.
Json identifier(const Json& in) {
    std::vector<std::wstring> prefixes = {std::wstring(customPrefix)};
    for (std::size_t i = 1; i < in.size(); ++i) prefixes.push_back(CORE::toWide(in[i].get<std::string>()));
    const auto kept = keptIdentifier(CORE::toWide(in[0].get<std::string>()), prefixes);
    return kept ? Json(CORE::toUtf8(*kept)) : Json();
}

// Of a seed and so many characters of the alphabet.
Json password(const Json& in) {
    const auto made = generatePassword(in[0], passwordAlphabet.substr(0, in[1]));
    return made ? Json(std::string(made->view())) : Json();
}

class ClientAuthTest : public testing::Test {
  protected:
    ClientAuthTest() {
        lab_.platform->clock = clock_;
        clock_->advance(1'700'000'000);
        CORE::SecurityManager::System().setKeyFile((keys_.path() / "key" / "host.key").wstring());
    }
    std::wstring config(const char* operation,
                        std::vector<std::pair<const wchar_t*, std::string>> keys = {}) {
        keys.insert(keys.end(),
                    {{L"operation", operation}, {L"clientid", "custom-kiosk1"}, {L"domain", "corp.example"}});
        return ask<&ClientAuthConfig::clientAuthConfig>(*lab_.service, requestOf(keys)).getErrorText().str();
    }
    // What a bind as the client answers.
    int bindAs(std::string_view password) {
        const auto session = lab_.platform->ldap->open({.host = "corp.example"}).value();
        const auto bound = session->bind(
            {.user = "CORP\\custom-kiosk1", .domain = {}, .password = CORE::secretstring(password)});
        return bound ? 0 : bound.error().code;
    }

    // What the settings entry holds, decrypted.
    std::string keptPassword() {
        const auto session = lab_.platform->ldap->open({}).value();
        EXPECT_TRUE(session->bind({}));
        const auto found = session->search({.base = "CN=custom-kiosk1,OU=Properties,DC=vdi,DC=talvex,DC=int",
                                            .scope = LdapScope::base,
                                            .filter = "(objectClass=*)"});
        const auto kept = found.value().entries.at(0).first("zre-WindowsPassword");
        return CORE::SecurityManager::System().Decrypt(CORE::toWide(kept)).str();
    }

    TempFolder keys_;
    PeopleLab lab_{{.pod = fileText(WS_SOURCE_DIR "/tests/clientauth/lab/pod.ldif"),
                    .corp = fileText(WS_SOURCE_DIR "/tests/clientauth/lab/corp.ldif")}};
    std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
};

TEST_F(ClientAuthTest, AClientLogsOnWithThePasswordOfTheClocksSecondWhichIsKeptProtectedAndInNoLog) {
    const LogCapture log(CORE::logDebug);
    std::vector<std::string> passwords;
    for (const char* operation : {"add", "update"}) {
        clock_->advance(1);
        const auto now = std::chrono::floor<std::chrono::seconds>(clock_->now()).time_since_epoch();
        passwords.emplace_back(generatePassword(static_cast<std::uint32_t>(now.count()))->view());
        EXPECT_EQ(config(operation, {{L"genpassword", "true"}}), L"");
        EXPECT_EQ(bindAs(passwords.back()), 0);
        EXPECT_EQ(keptPassword(), passwords.back());
        for (const LogLine& line : log.lines())
            EXPECT_EQ(line.text.find(CORE::toWide(passwords.back())), std::wstring::npos);
    }
    EXPECT_EQ(bindAs(passwords.front()), ldapInvalidCredentials);
}

TEST_F(ClientAuthTest, WorksAsTheAdministrativeAccount) {
    const std::wstring right = CORE::SecurityManager::System().Encrypt("Right.Pass1").str(),
                       wrong = CORE::SecurityManager::System().Encrypt("Wrong.Pass1").str();
    lab_.service->configurationBag.set(platform::startup::clientAuthAdminDomain, L"CORP");
    lab_.service->configurationBag.set(platform::startup::clientAuthAdminUser, L"svc");
    for (const auto& [password, sentence] : std::vector<std::pair<std::wstring, std::wstring>>{
             {L"Right.Pass1", L"The password of the administrative account CORP\\svc cannot be decrypted"},
             {wrong, L"Organizational Unit 'CN=Users' was not found.  Please make sure it exists and the "},
             {right, L""}}) {
        lab_.service->configurationBag.set(platform::startup::clientAuthAdminPassword, password);
        EXPECT_EQ(config("add").substr(0, std::max<std::size_t>(sentence.size(), 1)), sentence);
    }
}

TEST_F(ClientAuthTest, AnEntryThatIsNotDeletedIsTriedForAMinuteUnlessTheServiceStops) {
    ASSERT_EQ(config("add"), L"");
    for (const auto& [seconds, attempts] : {std::pair{60, 30}, {0, 1}}) {
        lab_.counts->restart({{.call = "ldap remove CN=custom-kiosk1,OU=Properties,DC=vdi,DC=talvex,DC=int",
                               .occurrence = PortFault::every,
                               .code = ldapBusy}});
        const auto begin = clock_->now();
        const CORE::PropertyBag answer =
            ask<&ClientAuth::clientAuthRemoveAll>(*lab_.service, requestOf({{L"force", "true"}}));
        EXPECT_EQ(answer.utf8(L"textmessage").substr(0, 2), "0 ");
        EXPECT_EQ(clock_->now() - begin, std::chrono::seconds(seconds));
        EXPECT_EQ(std::ranges::count(lab_.counts->calls(),
                                     "ldap remove CN=custom-kiosk1,OU=Properties,DC=vdi,DC=talvex,DC=int",
                                     &PortCalls::Call::name),
                  attempts);
        lab_.service->stop();
    }
}

TEST_F(ClientAuthTest, AnEntryWithoutANameIsNotRemoved) {
    const auto client = std::make_shared<ScriptedClient>();
    client->session->answers = {
        pageAnswer({entry("", {{"zre-WindowsUID", {"custom-1"}}, {"zre-WindowsDomain", {"CORP"}}})}, "")};
    lab_.platform->ldap = client;
    const auto answer = ask<&ClientAuth::clientAuthRemoveAll>(*lab_.service, {});
    EXPECT_EQ(answer.getBag(L"errorList").get(L"errorText"),
              L"Failed to get DN for user: CORP\\custom-1 -removeall did not complete.");
}

TEST_F(ClientAuthTest, OfTwoAddsAtOnceOneMakesTheAccount) {
    for (int round = 0; round < 20; ++round) {
        auto other = std::async(std::launch::async, [this] { return config("add"); });
        const std::wstring said[] = {config("add"), other.get()};
        const std::wstring& refusal = said[0].empty() ? said[1] : said[0];
        EXPECT_NE(said[0].empty(), said[1].empty());
        EXPECT_TRUE(refusal == L"Failed to SetInfo. error=0x80071392" ||
                    refusal.starts_with(L"clientid 'custom-kiosk1' already exists"))
            << CORE::toUtf8(refusal);
        ASSERT_EQ(config("remove"), L"");
    }
}

TEST(Rows, OfClientDevices) {
    tryRows(WS_SOURCE_DIR "/tests/clientauth/rows.jsonl",
            {{"identifier", identifier}, {"password", password}});
}

}  // namespace
}  // namespace wsadmin
