// Bases of a plug-in: the module's plug-in object, its service, and the object of one request.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

#include "framework/core/corelock.h"
#include "framework/core/coreref.h"
#include "framework/core/corestring.h"
#include "framework/core/export.h"
#include "framework/core/message.h"
#include "framework/core/property_bag.h"
#include "framework/core/threads.h"

namespace CORE {

// A long-lived service that owns one worker name.
class MFWCORE_API service : public coreref {
  public:
    explicit service(bool withStopEvent);
    ~service() override;

    const wstr& workerName() const noexcept { return name_; }
    bool registered() const noexcept { return registered_; }
    bool stopped() const noexcept { return stopped_; }
    const coreevent* stopEvent() const noexcept { return stopEvent_.get(); }  // null without one

    // Stores the name and registers the worker. A coreException of AddWorker is caught and logged as a
    // warning, and leaves the worker unregistered.
    void registerWorker(WorkItem* (*factory)(), std::wstring_view name, std::wstring_view description,
                        bool local, bool remote, bool serialised, bool foldNames, ThreadGroup* owner);
    void unregisterWorker();  // when registered; running requests continue
    void stop();              // sets the flag and signals the event

  private:
    wstr name_;
    std::atomic<bool> registered_{false};
    std::atomic<bool> stopped_{false};
    std::unique_ptr<coreevent> stopEvent_;
};

// The module's pointer to its one service, from which each request takes its reference; null while there is
// none. Thread safe.
template <class Service>
class CurrentService {
  public:
    refptr<Service> get() const {
        const std::lock_guard hold(mutex_);
        return service_;
    }
    // The former service is released after unlocking, because its destruction may take long.
    void set(refptr<Service> service) {
        const std::lock_guard hold(mutex_);
        std::swap(service_, service);
    }

  private:
    mutable std::mutex mutex_;
    refptr<Service> service_;
};

// The object of one request to a service, with hooks around the handler.
class MFWCORE_API serviceOperation : public WorkItem {
  public:
    serviceOperation();
    ~serviceOperation() override;

  protected:
    virtual bool beforeOperation(const wchar_t* operation, const PropertyBag& request);  // base: true
    virtual void afterOperation(const wchar_t* operation, PropertyBag& response);        // base: nothing
};

// One static instance per module, which the module's exported functions forward to.
class MFWCORE_API mfwPluginDll : public coreref {
  public:
    mfwPluginDll();
    ~mfwPluginDll() override;
    virtual bool initialiseSynchronously();  // base: false
    virtual bool initialise();               // base: true
    virtual void initialiseAsync();          // on "PluginInitThread"; base: nothing
    virtual void cleanup();                  // base: nothing

    // The bodies of the three exported functions. `module` is the source name of their log lines. They throw
    // nothing.
    bool params(const PropertyBag* bag);  // true; a null bag changes nothing
    bool init(std::wstring_view module);
    // Returns when no thread runs the module's code any more: a deadlock on a thread that threads() counts.
    void exit(std::wstring_view module);

    void setModule(void* handle) noexcept { module_ = handle; }
    void* module() const noexcept { return module_; }
    const PropertyBag& parameters() const noexcept { return parameters_; }
    ThreadGroup& threads() noexcept { return threads_; }

  private:
    void* module_ = nullptr;
    PropertyBag parameters_;
    ThreadGroup threads_;
};

}  // namespace CORE
