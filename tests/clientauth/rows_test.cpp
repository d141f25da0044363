// Identifiers of client devices and the passwords made for them, over rows.jsonl.
#include "support/rows.h"
#include "clientauth/client_identifier.h"
#include "clientauth/generated_password.h"
#include "framework/core/corestring.h"

namespace wsadmin {
namespace {

using wstest::Json;

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

TEST(Rows, OfClientDevices) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/clientauth/rows.jsonl",
                    {{"identifier", identifier}, {"password", password}});
}

}  // namespace
}  // namespace wsadmin
