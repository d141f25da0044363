// Directory services whose objects and failures a test scripts, and that count what is opened and still open.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/directory_services.h"

namespace wstest {

using namespace wsadmin;
using namespace wsadmin::platform;

class ScriptedDirectoryServices : public DirectoryServices {
  public:
    struct Opened {
        std::string path;
        std::string user;
        std::uint32_t flags;
        bool operator==(const Opened&) const = default;
    };
    // What can be opened as an object, by path.
    struct Object {
        std::map<std::string, DirectoryValue, std::less<>> attributes{};
        std::vector<std::string> children{};
        int childrenCode = 0;
    };

    std::map<std::string, Object, std::less<>> objects;
    std::function<int(const std::string&)> openCode = [](const std::string&) { return 0; };
    std::function<void(const std::string&)> onOpenObject = [](const std::string&) {};
    std::atomic<int> live{0};   // searches that are open
    std::atomic<int> opens{0};  // searches opened so far
    std::atomic<int> objectOpens{0};
    std::atomic<bool> connected{true};  // false: searches opened before are no longer usable

    Result<std::shared_ptr<DirectorySearch>> openSearch(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        record({path, credentials.user, flags});
        if (const int code = openCode(path)) return fail(code, L"scripted");
        ++opens;
        return std::make_shared<Search>(*this);
    }
    Result<std::unique_ptr<DirectoryObject>> openObject(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        ++objectOpens;
        onOpenObject(path);
        record({path, credentials.user, flags});
        const auto object = objects.find(path);
        if (object == objects.end()) return fail(adsServerDown, L"scripted");
        return std::make_unique<Entry>(path, object->second);
    }
    std::vector<Opened> opened() const {
        const std::lock_guard hold(mutex_);
        return opened_;
    }
    static int scopeOf(const DirectorySearch& search) { return static_cast<const Search&>(search).scope; }

  private:
    class Search : public DirectorySearch {
      public:
        explicit Search(ScriptedDirectoryServices& owner) : owner_(owner) { ++owner_.live; }
        ~Search() override { --owner_.live; }
        Result<void> setPreference(SearchPreference preference, int value) override {
            if (preference == SearchPreference::scope) scope = value;
            return {};
        }
        Result<std::unique_ptr<DirectoryRows>> execute(const std::string&,
                                                       const std::vector<std::string>&) override {
            return fail(adsNotImplemented, L"scripted");
        }
        bool usable() const noexcept override { return owner_.connected; }
        int scope = -1;

      private:
        ScriptedDirectoryServices& owner_;
    };

    class Entry : public DirectoryObject {
      public:
        Entry(std::string path, Object object) : path_(std::move(path)), object_(std::move(object)) {}
        std::string path() const override { return path_; }
        std::string className() const override { return {}; }
        Result<DirectoryValue> get(std::string_view name) override {
            const auto value = object_.attributes.find(name);
            if (value == object_.attributes.end()) return fail(adsPropertyNotFound, L"scripted");
            return value->second;
        }
        Result<std::vector<DirectoryValue>> getEx(std::string_view) override { return refuse(); }
        Result<void> put(std::string_view, const DirectoryValue&) override { return refuse(); }
        Result<void> putEx(PutOperation, std::string_view, const std::vector<DirectoryValue>&) override {
            return refuse();
        }
        Result<void> setInfo() override { return refuse(); }
        Result<std::unique_ptr<DirectoryObject>> create(std::string_view, std::string_view) override {
            return refuse();
        }
        Result<void> deleteObject() override { return refuse(); }
        Result<void> removeChild(std::string_view, std::string_view) override { return refuse(); }
        Result<void> moveHere(std::string_view, std::string_view) override { return refuse(); }
        Result<std::vector<std::string>> children() override {
            if (object_.childrenCode) return fail(object_.childrenCode, L"scripted");
            return object_.children;
        }

      private:
        static tl::unexpected<Failure> refuse() { return fail(adsNotImplemented, L"scripted"); }
        std::string path_;
        Object object_;
    };

    void record(Opened opened) {
        const std::lock_guard hold(mutex_);
        opened_.push_back(std::move(opened));
    }

    mutable std::mutex mutex_;
    std::vector<Opened> opened_;
};

}  // namespace wstest
