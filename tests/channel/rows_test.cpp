// The plain functions of the transport and of the service host over rows.jsonl. What is refused is "! " and
// the sentence.
#include "support/rows.h"

#include "channel/cbor.h"
#include "channel/channel_client.h"
#include "framework/core/permitted_path.h"
#include "host/service/host_file.h"
#include "host/service/permit.h"
#include "support/temp_folder.h"

namespace channel {
namespace {

using wstest::Json;

Json address(const Json& in) {
    const auto parsed = parseAddress(in.get<std::string>());
    return parsed ? Json(parsed->host + " " + std::to_string(parsed->port)) : Json();
}

// The bytes, when the reader takes them for the same.
Json integer(const Json& in) {
    Bytes bytes;
    CborWriter(bytes).integer(in.get<std::int64_t>());
    if (CborReader(bytes).integer() != in.get<std::int64_t>()) return {};
    return std::vector<int>(bytes.begin(), bytes.end());
}

// Rights, worker, operation; "look" changes nothing, and "change" does.
Json permit(const Json& in) {
    CORE::PropertyBag operations;
    for (const auto& [name, changes] : {std::pair(L"look", false), std::pair(L"change", true)}) {
        CORE::PropertyBag one;
        one.add(L"name", std::wstring_view(name));
        one.addBool(L"changes", changes);
        operations.addBag(L"operation", std::move(one));
    }
    const auto text = [&in](std::size_t at) { return in[at].get<std::string>(); };
    const auto refused = mfwhost::permitOf(operations)(rightsNamed(text(0)).value(), CORE::toWide(text(1)),
                                                       CORE::toWide(text(2)));
    return refused ? "! " + CORE::toUtf8(*refused) : "";
}

// Some of what a configuration says, its folder's name left out.
Json hostFile(const Json& in) {
    const wstest::TempFolder folder;
    const auto read = mfwhost::readHostFile(folder.write("host.toml", in.get<std::string>()));
    const auto shortened = [&folder](std::string text) {
        const auto at = text.find(folder.path().string());
        return at == text.npos ? text : text.erase(at, folder.path().string().size() + 1);
    };
    if (!read) return "! " + shortened(read.error());
    return {read->address + " " + std::to_string(read->port), shortened(read->tickets.string()),
            shortened(CORE::toUtf8(read->startup.flattenForDisplay())),
            shortened(read->files.received.at(1).string()), read->limits.link.silence.count()};
}

TEST(Rows, OfTheTransport) {
    const auto windowsTrap = [](const Json& in) { return CORE::isWindowsTrap(in.get<std::string>()); };
    wstest::tryRows(WS_SOURCE_DIR "/tests/channel/rows.jsonl", {{"address", address},
                                                                {"integer", integer},
                                                                {"permit", permit},
                                                                {"windows trap", windowsTrap},
                                                                {"host file", hostFile}});
}

}  // namespace
}  // namespace channel
