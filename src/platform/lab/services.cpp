#include "platform/lab/services.h"

#include <algorithm>

#include "framework/core/corestring.h"

namespace wsadmin::platform::lab {

namespace {

LabService* serviceNamed(std::vector<LabService>& services, std::wstring_view name) {
    const auto found = std::ranges::find_if(
        services, [&](const LabService& service) { return CORE::equalFolded(service.name, name); });
    return found == services.end() ? nullptr : &*found;
}

Failure noService() {
    return {serviceDoesNotExist, L"The specified service does not exist as an installed service."};
}

class OpenedService final : public MachineService {
  public:
    OpenedService(std::shared_ptr<LabServices> services, std::wstring name)
        : services_(std::move(services)), name_(std::move(name)) {}

    ServiceQueryResult<std::wstring> description() override { return queried(&LabService::description); }
    Result<void> setDescription(const std::wstring& description) override {
        return changed(&LabService::description, description);
    }
    ServiceQueryResult<std::vector<std::wstring>> dependencies() override {
        return queried(&LabService::dependencies);
    }
    Result<void> setDependencies(const std::vector<std::wstring>& names) override {
        return changed(&LabService::dependencies, names);
    }

  private:
    template <class T>
    ServiceQueryResult<T> queried(T LabService::*part) const {
        auto now = services_->now();
        LabService* service = serviceNamed(now, name_);
        if (!service) return tl::unexpected(ServiceQueryFailure{ServiceQueryStep::query, noService()});
        return std::move(service->*part);
    }
    template <class T>
    Result<void> changed(T LabService::*part, const T& wanted) {
        bool there = false;
        services_->change([&](std::vector<LabService>& now) {
            LabService* service = serviceNamed(now, name_);
            there = service != nullptr;
            return there && std::exchange(service->*part, wanted) != wanted;
        });
        if (!there) return fail(noService());
        return {};
    }

    std::shared_ptr<LabServices> services_;
    std::wstring name_;
};

class LabServiceManager final : public ServiceManager {
  public:
    explicit LabServiceManager(std::shared_ptr<LabServices> services) : services_(std::move(services)) {}
    Result<std::unique_ptr<MachineService>> openService(const std::wstring& name) override {
        auto now = services_->now();
        if (!serviceNamed(now, name)) return fail(noService());
        return std::make_unique<OpenedService>(services_, name);
    }

  private:
    std::shared_ptr<LabServices> services_;
};

class LabServiceControl final : public ServiceControl {
  public:
    explicit LabServiceControl(std::shared_ptr<LabServices> services) : services_(std::move(services)) {}
    Result<std::unique_ptr<ServiceManager>> open() override {
        return std::make_unique<LabServiceManager>(services_);
    }

  private:
    std::shared_ptr<LabServices> services_;
};

}  // namespace

std::shared_ptr<ServiceControl> makeLabServiceControl(std::shared_ptr<LabServices> services) {
    return std::make_shared<LabServiceControl>(std::move(services));
}

}  // namespace wsadmin::platform::lab
