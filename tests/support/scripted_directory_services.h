// Directory services whose objects, rows and failures a test scripts, and that count what is opened and still
// open.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/counting_ports.h"

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

    // What was searched for, and what that answers.
    struct Asked {
        std::string path;
        int scope;
        std::string filter;
        std::vector<std::string> attributes;
    };
    struct Answer {
        std::vector<std::vector<DirectoryColumn>> rows{};
        int code = 0;  // not 0: the search cannot run
    };

    std::map<std::string, Object, std::less<>> objects;
    std::function<Answer(const Asked&)> onSearch = [](const Asked&) {
        return Answer{.code = adsNotImplemented};
    };
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
        return std::make_shared<Search>(*this, path);
    }
    Result<std::unique_ptr<DirectoryObject>> openObject(const std::string& path,
                                                        const DirectoryCredentials& credentials,
                                                        std::uint32_t flags) override {
        ++objectOpens;
        onOpenObject(path);
        record({path, credentials.user, flags});
        const auto object = objects.find(path);
        if (object == objects.end()) return fail(adsServerDown, L"scripted");
        return std::make_unique<Entry>(object->second);
    }
    std::vector<Opened> opened() const {
        const std::lock_guard hold(mutex_);
        return opened_;
    }
    static int scopeOf(const DirectorySearch& search) { return static_cast<const Search&>(search).scope; }

  private:
    class Search : public DirectorySearch {
      public:
        Search(ScriptedDirectoryServices& owner, std::string path) : owner_(owner), path_(std::move(path)) {
            ++owner_.live;
        }
        ~Search() override { --owner_.live; }
        Result<void> setPreference(SearchPreference preference, int value) override {
            if (preference == SearchPreference::scope) scope = value;
            return {};
        }
        Result<std::unique_ptr<DirectoryRows>> execute(const std::string& filter,
                                                       const std::vector<std::string>& attributes) override {
            Answer answer = owner_.onSearch({path_, scope, filter, attributes});
            if (answer.code) return fail(answer.code, L"scripted");
            return std::make_unique<Rows>(std::move(answer));
        }
        bool usable() const noexcept override { return owner_.connected; }
        int scope = -1;

      private:
        ScriptedDirectoryServices& owner_;
        std::string path_;
    };

    class Rows : public DirectoryRows {
      public:
        explicit Rows(Answer answer) : answer_(std::move(answer)) {}
        Result<bool> next() override {
            if (next_ < answer_.rows.size()) return ++next_ > 0;
            return false;
        }
        Result<std::optional<DirectoryColumn>> column(std::string_view name) override {
            for (const DirectoryColumn& column : answer_.rows.at(next_ - 1))
                if (column.name == name) return column;
            return std::nullopt;
        }
        Result<std::vector<DirectoryColumn>> columns() override { return answer_.rows.at(next_ - 1); }

      private:
        Answer answer_;
        std::size_t next_ = 0;
    };

    // Everything else is refused.
    class Entry : public CountingObject {
      public:
        explicit Entry(Object object) : object_(std::move(object)) {
            stand({}, std::make_shared<PortCalls>(), {});
            calls_->before = [](const std::string& call) {
                throw std::logic_error(call + " is not scripted");
            };
        }
        Result<DirectoryValue> get(std::string_view name) override {
            const auto value = object_.attributes.find(name);
            if (value == object_.attributes.end()) return fail(adsPropertyNotFound, L"scripted");
            return value->second;
        }
        Result<std::vector<std::string>> children() override {
            if (object_.childrenCode) return fail(object_.childrenCode, L"scripted");
            return object_.children;
        }

      private:
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
