#include "contract/services_under_test.h"

#include <algorithm>

#include "platform/portable/portable_directory.h"
#if defined(_WIN32)
#include "platform/windows/windows_platform.h"
#endif

namespace wsadmin::platform {

void ServicesContract::SetUp() {
    DirectoryContract::SetUp();
    if (!directory_) return;
    // The domain's name leads to the one server.
    client_ = std::make_shared<RedirectedClient>(directory_->client, [this](LdapEndpoint& endpoint) {
        if (endpoint.host == dnsDomainOf(suffix())) endpoint.host = directory_->endpoint.host;
#if !defined(_WIN32)  // whose client trusts whom the machine trusts
        endpoint.caFile = environment("WS_TEST_LDAP_CA");
#endif
    });
    services_ = makePortableDirectoryServices(client_, directory_->endpoint.host);
#if defined(_WIN32)
    if (isAdsi() && isLab()) provider_ = std::make_unique<wstest::AdsProvider>(services_);
    if (isAdsi()) services_ = windows::makeDirectoryServices();
#endif
}

void ServicesContract::TearDown() {
    DirectoryContract::TearDown();
#if defined(_WIN32)
    EXPECT_EQ(provider_ ? provider_->liveObjects() : 0, 0);  // everything was released
#endif
}

std::string ServicesContract::server() const {
    return directory_->endpoint.host + ":" + std::to_string(directory_->endpoint.port);
}

DirectoryCredentials ServicesContract::credentials() const {
    return {directory_->credentials.user, directory_->credentials.password};
}

std::shared_ptr<DirectorySearch> ServicesContract::searchAt(const std::string& path) {
    auto search = services_->openSearch(path, credentials(), flags_);
    EXPECT_TRUE(search) << path << ": " << CORE::toUtf8(search.error().text);
    return search.value();
}

std::unique_ptr<DirectoryObject> ServicesContract::objectAt(const std::string& dn) {
    auto object = services_->openObject(pathOf(dn), credentials(), flags_);
    EXPECT_TRUE(object) << dn << ": " << CORE::toUtf8(object.error().text);
    return std::move(object.value());
}

std::vector<ServicesContract::Row> ServicesContract::rowsOf(DirectorySearch& search,
                                                            const std::string& filter,
                                                            const std::vector<std::string>& attributes) {
    std::vector<Row> all;
    const auto failed = [&](const Failure& failure) {
        all.push_back({{"!" + hexCode(failure.code), {}}});
        return all;
    };
    auto rows = search.execute(filter, attributes);
    if (!rows) return failed(rows.error());
    while (true) {
        const auto more = (*rows)->next();
        if (!more) return failed(more.error());
        if (!*more) return all;
        Row& row = all.emplace_back();
        for (const std::string& name : attributes) {
            auto column = (*rows)->column(name);
            if (!column) return failed(column.error());
            if (*column) row[name] = (*column)->values;
        }
    }
}

std::string ServicesContract::namesOf(DirectorySearch& search, const std::string& filter) {
    std::vector<std::string> names;
    for (const Row& row : rowsOf(search, filter, {"name"}))
        names.push_back(row.contains("name") ? directoryText(row.at("name").at(0)) : row.begin()->first);
    std::ranges::sort(names);
    std::string text;
    for (const auto& name : names) text += (text.empty() ? "" : " ") + name;
    return text;
}

}  // namespace wsadmin::platform
