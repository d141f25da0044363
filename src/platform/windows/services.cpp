// The service control manager.
#include <new>
#include <optional>

#include "platform/windows/system_failure.h"
#include "platform/windows/windows_machine.h"

namespace wsadmin::platform::windows {

namespace {

using UniqueService = std::unique_ptr<std::remove_pointer_t<SC_HANDLE>, Freer<CloseServiceHandle>>;

tl::unexpected<ServiceQueryFailure> queryFailure(ServiceQueryStep step, DWORD error) {
    return tl::unexpected(ServiceQueryFailure{step, systemFailure(error)});
}

// Asks for the size, then for as much. `query` is given a buffer, its size and where to write the size that
// is needed.
template <class Query>
ServiceQueryResult<std::vector<BYTE>> queriedBytes(Query query) {
    DWORD needed = 0;
    if (query(nullptr, 0, &needed)) return queryFailure(ServiceQueryStep::unexpectedSuccess, ERROR_SUCCESS);
    if (const DWORD error = GetLastError(); error != ERROR_INSUFFICIENT_BUFFER)
        return queryFailure(ServiceQueryStep::query, error);
    std::vector<BYTE> bytes;
    try {
        bytes.resize(needed);
    } catch (const std::bad_alloc&) {
        return queryFailure(ServiceQueryStep::memory, ERROR_NOT_ENOUGH_MEMORY);
    }
    if (!query(bytes.data(), needed, &needed)) return queryFailure(ServiceQueryStep::query, GetLastError());
    return bytes;
}

// Names that end with a NUL each, and the list with one more.
std::vector<std::wstring> namesIn(const wchar_t* list) {
    std::vector<std::wstring> names;
    for (; list && *list; list += names.back().size() + 1) names.emplace_back(list);
    return names;
}

class RealService final : public MachineService {
  public:
    explicit RealService(UniqueService service) : service_(std::move(service)) {}

    ServiceQueryResult<std::wstring> description() override {
        const auto bytes = queriedBytes([this](BYTE* buffer, DWORD size, DWORD* needed) {
            return QueryServiceConfig2W(service_.get(), SERVICE_CONFIG_DESCRIPTION, buffer, size, needed);
        });
        if (!bytes) return tl::unexpected(bytes.error());
        const wchar_t* text = reinterpret_cast<const SERVICE_DESCRIPTIONW*>(bytes->data())->lpDescription;
        return std::wstring(text ? text : L"");
    }
    Result<void> setDescription(const std::wstring& description) override {
        std::wstring text = description;
        SERVICE_DESCRIPTIONW wanted{text.data()};
        if (!ChangeServiceConfig2W(service_.get(), SERVICE_CONFIG_DESCRIPTION, &wanted))
            return fail(lastFailure());
        return {};
    }
    ServiceQueryResult<std::vector<std::wstring>> dependencies() override {
        const auto bytes = queriedBytes([this](BYTE* buffer, DWORD size, DWORD* needed) {
            return QueryServiceConfigW(service_.get(), reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer), size,
                                       needed);
        });
        if (!bytes) return tl::unexpected(bytes.error());
        return namesIn(reinterpret_cast<const QUERY_SERVICE_CONFIGW*>(bytes->data())->lpDependencies);
    }
    Result<void> setDependencies(const std::vector<std::wstring>& names) override {
        std::wstring list;
        for (const std::wstring& name : names) list.append(name).push_back(L'\0');
        list.push_back(L'\0');
        // No name at all is two NULs: a null list would leave the dependencies as they are.
        if (names.empty()) list.push_back(L'\0');
        if (!ChangeServiceConfigW(service_.get(), SERVICE_NO_CHANGE, SERVICE_NO_CHANGE, SERVICE_NO_CHANGE,
                                  nullptr, nullptr, nullptr, list.c_str(), nullptr, nullptr, nullptr))
            return fail(lastFailure());
        return {};
    }

  private:
    UniqueService service_;
};

class RealManager final : public ServiceManager {
  public:
    explicit RealManager(UniqueService manager) : manager_(std::move(manager)) {}
    Result<std::unique_ptr<MachineService>> openService(const std::wstring& name) override {
        UniqueService service(
            OpenServiceW(manager_.get(), name.c_str(), SERVICE_QUERY_CONFIG | SERVICE_CHANGE_CONFIG));
        if (!service) return fail(lastFailure());
        return std::make_unique<RealService>(std::move(service));
    }

  private:
    UniqueService manager_;
};

class RealServices final : public ServiceControl {
  public:
    Result<std::unique_ptr<ServiceManager>> open() override {
        UniqueService manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
        if (!manager) return fail(lastFailure());
        return std::make_unique<RealManager>(std::move(manager));
    }
};

}  // namespace

std::shared_ptr<ServiceControl> makeServiceControl() {
    return std::make_shared<RealServices>();
}

}  // namespace wsadmin::platform::windows
