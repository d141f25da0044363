// The filtering engine: its security associations and main-mode policies.
#include "platform/windows/handles.h"
// After the platform's base headers:
#include <fwpmu.h>
#include <rpc.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/windows/system_failure.h"
#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {

namespace {

using UniqueEngine = std::unique_ptr<void, Freer<FwpmEngineClose0>>;

// The texts of the engine's own codes are HRESULTs'; what is logged of them is the number.
auto engineFailure(DWORD code) {
    return fail(systemFailure(code));
}

std::optional<std::wstring> nameOf(const FWPM_DISPLAY_DATA0& data) {
    return data.name ? std::optional<std::wstring>(data.name) : std::nullopt;
}

SecurityAssociation entryOf(const IPSEC_SA_DETAILS0& details) {
    SecurityAssociation entry;
    if (details.transportFilter) entry.filterName = nameOf(details.transportFilter->displayData);
    if (details.traffic.ipVersion == FWP_IP_VERSION_V4) {
        entry.remote = Ipv4{details.traffic.remoteV4Address};
    } else if (details.traffic.ipVersion == FWP_IP_VERSION_V6) {
        Ipv6 address{};
        std::ranges::copy(details.traffic.remoteV6Address, address.begin());
        entry.remote = address;
    }
    return entry;
}

MainModeContext entryOf(const FWPM_PROVIDER_CONTEXT0& context) {
    return {nameOf(context.displayData)};
}

// What the engine enumerates: the entries as it gives them, and its two functions for them.
template <class Entry, class Native, auto enumerate, auto destroy>
class RealEntries final : public FilteringEntries<Entry> {
  public:
    explicit RealEntries(HANDLE engine) : engine_(engine) {}
    ~RealEntries() override {
        if (enumeration_) destroy(engine_, enumeration_);
    }
    RealEntries(const RealEntries&) = delete;
    RealEntries& operator=(const RealEntries&) = delete;
    HANDLE* receive() noexcept { return &enumeration_; }  // once, before the first batch

    Result<std::vector<Entry>> next() override {
        Native** given = nullptr;
        UINT32 count = 0;
        if (const DWORD code = enumerate(engine_, enumeration_, filteringBatch, &given, &count);
            code != ERROR_SUCCESS)
            return engineFailure(code);
        const Batch batch(given);
        std::vector<Entry> entries;
        entries.reserve(count);
        for (UINT32 i = 0; i < count; ++i) entries.push_back(given[i] ? entryOf(*given[i]) : Entry{});
        return entries;
    }

  private:
    struct BatchFreer {
        void operator()(void* memory) const noexcept { FwpmFreeMemory0(&memory); }
    };
    using Batch = std::unique_ptr<void, BatchFreer>;

    HANDLE engine_;
    HANDLE enumeration_ = nullptr;
};

using RealAssociations =
    RealEntries<SecurityAssociation, IPSEC_SA_DETAILS0, IPsecSaEnum0, IPsecSaDestroyEnumHandle0>;
using RealContexts = RealEntries<MainModeContext, FWPM_PROVIDER_CONTEXT0, FwpmProviderContextEnum0,
                                 FwpmProviderContextDestroyEnumHandle0>;

class RealEngine final : public FilteringEngine {
  public:
    explicit RealEngine(UniqueEngine engine) : engine_(std::move(engine)) {}
    Result<std::unique_ptr<FilteringEntries<SecurityAssociation>>> securityAssociations() override {
        auto entries = std::make_unique<RealAssociations>(engine_.get());
        const DWORD code = IPsecSaCreateEnumHandle0(engine_.get(), nullptr, entries->receive());
        if (code != ERROR_SUCCESS) return engineFailure(code);
        return entries;
    }
    Result<std::unique_ptr<FilteringEntries<MainModeContext>>> mainModeContexts() override {
        const FWPM_PROVIDER_CONTEXT_ENUM_TEMPLATE0 mainMode{nullptr, FWPM_IPSEC_IKE_MM_CONTEXT};
        auto entries = std::make_unique<RealContexts>(engine_.get());
        const DWORD code = FwpmProviderContextCreateEnumHandle0(engine_.get(), &mainMode, entries->receive());
        if (code != ERROR_SUCCESS) return engineFailure(code);
        return entries;
    }

  private:
    UniqueEngine engine_;
};

// The system's own conversion, from a library that stays loaded as long as it is used.
class AddressConversion {
  public:
    AddressConversion()
        : library_(LoadLibraryW(L"ws2_32.dll")),
          // By way of a function pointer of no type, as the platform gives all functions.
          convert_(library_ ? reinterpret_cast<Convert>(
                                  reinterpret_cast<void (*)()>(GetProcAddress(library_.get(), "inet_ntop")))
                            : nullptr) {}
    bool available() const noexcept { return convert_ != nullptr; }
    std::optional<std::string> operator()(const SecurityAssociation& association) const {
        constexpr int familyV4 = 2, familyV6 = 23;
        constexpr std::size_t roomV4 = 22, roomV6 = 65;
        if (const auto* host = std::get_if<Ipv4>(&association.remote)) {
            const Ipv4 network = _byteswap_ulong(*host);
            return text(familyV4, &network, roomV4);
        }
        const auto* six = std::get_if<Ipv6>(&association.remote);
        return six ? text(familyV6, six->data(), roomV6) : std::nullopt;
    }

  private:
    using Convert = const char*(WINAPI*)(int, const void*, char*, std::size_t);

    std::optional<std::string> text(int family, const void* address, std::size_t room) const {
        std::string text(room, '\0');
        if (!convert_(family, address, text.data(), text.size())) return std::nullopt;
        text.resize(text.find('\0'));
        return text;
    }

    std::unique_ptr<std::remove_pointer_t<HMODULE>, Freer<FreeLibrary>> library_;
    Convert convert_;
};

class RealFiltering final : public FilteringPlatform {
  public:
    Result<std::unique_ptr<FilteringEngine>> open() override {
        HANDLE engine = nullptr;
        if (const DWORD code = FwpmEngineOpen0(nullptr, RPC_C_AUTHN_WINNT, nullptr, nullptr, &engine);
            code != ERROR_SUCCESS)
            return engineFailure(code);
        return std::make_unique<RealEngine>(UniqueEngine(engine));
    }
    Result<AddressText> addressText() override {
        const auto conversion = std::make_shared<AddressConversion>();
        if (!conversion->available()) return fail(lastFailure());
        return AddressText([conversion](const SecurityAssociation& one) { return (*conversion)(one); });
    }
};

}  // namespace

std::shared_ptr<FilteringPlatform> makeFiltering() {
    return std::make_shared<RealFiltering>();
}

}  // namespace wsadmin::platform::windows
