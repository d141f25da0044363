// The plain functions of this folder over rows.jsonl.
#include "support/rows.h"
#include "maintenance/backup_protection.h"
#include "maintenance/collision_names.h"

namespace {

using namespace wsadmin;
using wstest::Json, wstest::hexOf, wstest::bytesOfHex;

Json leftover(const Json& in) {
    constexpr const char* names[] = {"none", "collision", "deletion"};
    return names[static_cast<int>(leftoverOf(in.get<std::string>()))];
}
Json clean(const Json& in) {
    return platform::dnToText(cleanName(platform::parseDn(in.get<std::string>()).value()));
}
Json summary(const Json& in) {
    Json lines = Json::array();
    const CollisionCounts counts{.collisions = in[1], .deleted = in[2], .collisionEntries = in[3]};
    for (const std::wstring& line : collisionSummary(counts, in[0])) lines.push_back(CORE::toUtf8(line));
    return lines;
}
Json derive(const Json& in) {
    const auto key = deriveKey(in[0].get<std::string>(), in[1].get<std::string>(), in[2], in[3]);
    return key ? Json(hexOf(key->view(0, key->size()))) : Json();
}
Json encrypt(const Json& in) {
    const auto sealed = encryptAes128(bytesOfHex(in[0]), in[1].get<std::string>());
    return sealed ? Json(hexOf(*sealed)) : Json();
}

TEST(Rows, OfMaintenance) {
    wstest::tryRows(WS_SOURCE_DIR "/tests/maintenance/rows.jsonl", {{"leftover", leftover},
                                                                    {"clean", clean},
                                                                    {"summary", summary},
                                                                    {"derive", derive},
                                                                    {"encrypt", encrypt}});
}

}  // namespace
