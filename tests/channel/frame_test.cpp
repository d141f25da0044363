// Frames: what goes in comes out, and what is no frame is refused.
#include "channel/frame.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "channel/cbor.h"
#include "framework/core/coreexception.h"
#include "fuzz/whole_frame.h"

namespace channel {
namespace {

using CORE::PropertyBag;
using fuzz::decodeWhole;

Frame sample() {
    PropertyBag inner;
    inner.add(L"dn", std::wstring_view(L"cn=a"));
    inner.setError(-5, std::wstring(L"lone \xD800 surrogate"));
    PropertyBag bag;
    bag.add(L"Name", std::wstring_view(L"first"));
    bag.add(L"name", std::wstring_view(L"a\0b", 3));
    bag.addBag(L"list", inner);
    bag.addBag(L"list", PropertyBag());
    bag.add(L"\xD83D half", std::wstring_view(L"\xDC00"));
    bag.addUtf8("raw", "\xFF\xFE");
    bag.add(L"", std::wstring_view());
    bag.setError(1, L"failed");
    Frame frame{.kind = FrameKind::response, .number = UINT64_MAX, .worker = L"w\xD800", .operation = L"o"};
    frame.type = CORE::RespType::timedOut;
    frame.bag = bag;
    frame.attachment = {0, 255, 10};
    return frame;
}

TEST(Frame, CarriesAllThatAMessageHasAsCbor) {
    const Frame before = sample();
    const Bytes bytes = encodeFrame(before, {});
    const auto after = decodeWhole(bytes, {}).value();
    EXPECT_EQ(encodeFrame(after, {}), bytes);
    EXPECT_EQ(
        std::tuple(after.kind, after.number, after.worker, after.operation, after.type, after.attachment),
        std::tuple(before.kind, before.number, before.worker, before.operation, before.type,
                   before.attachment));
    EXPECT_EQ(after.bag.flattenForDisplay(), before.bag.flattenForDisplay());
    EXPECT_EQ(after.bag.utf8(L"raw"), before.bag.utf8(L"raw"));
    EXPECT_EQ(after.bag.getErrorText(), L"failed");
    EXPECT_EQ(after.bag.getBag(L"list").getErrorText(), L"lone \xD800 surrogate");
    const auto json = nlohmann::json::from_cbor(std::vector(bytes.begin() + frameHeadSize, bytes.end() - 3));
    EXPECT_EQ(json[1], UINT64_MAX);
    EXPECT_EQ(json[5][0], 1);
    EXPECT_EQ(json[5][7][0], -5);
}

TEST(Frame, RefusesWhatIsCutOrChanged) {
    const Bytes whole = encodeFrame(sample(), {});
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(decodeWhole(ByteView(whole).first(size), {})) << size;
    // Cut, and with lengths that agree.
    const std::size_t message = whole.size() - frameHeadSize - 3;
    for (std::size_t size = 0; size < message; ++size)
        EXPECT_FALSE(decodeFrame({size, 0}, ByteView(whole).subspan(frameHeadSize, size), {})) << size;
    for (std::size_t at = frameHeadSize; at < frameHeadSize + message; ++at)
        for (const unsigned byte : {0x00u, 0x1Fu, 0x5Fu, 0x7Fu, 0x9Fu, 0xBFu, 0xFFu, 0x5Bu, 0x9Bu}) {
            Bytes changed = whole;
            changed[at] = static_cast<std::uint8_t>(byte);
            if (const auto frame = decodeWhole(changed, {}))
                encodeFrame(*frame, {});  // then it is another frame
        }
}

TEST(Frame, HoldsItsLimits) {
    constexpr std::size_t memory = 3 * 384 + 8 * 32;  // three bags with eight entries
    FrameLimits limits{.message = 200, .attachment = 3, .depth = 2, .memory = memory};
    EXPECT_NO_THROW(encodeFrame(sample(), limits));
    EXPECT_TRUE(decodeWhole(encodeFrame(sample(), {}), limits));
    for (const FrameLimits& exceeded : {FrameLimits{50, 3, 2, memory}, FrameLimits{200, 2, 2, memory},
                                        FrameLimits{200, 3, 1, memory}, FrameLimits{200, 3, 2, memory - 1}}) {
        limits = exceeded;
        EXPECT_THROW(encodeFrame(sample(), limits), CORE::coreException);
        EXPECT_FALSE(decodeWhole(encodeFrame(sample(), {}), limits));
    }
    // Arrays in arrays, as deep as the bytes go.
    const Bytes deep(1'000'000, 0x81);
    EXPECT_FALSE(decodeFrame({deep.size(), 0}, deep, {}));
}

}  // namespace
}  // namespace channel
