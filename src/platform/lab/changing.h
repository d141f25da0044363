// A part of a lab's machine that operations change: its content, and whether it is to be written to the lab's
// file.
#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <utility>

namespace wsadmin::platform::lab {

// Any thread.
template <class Content>
class Changing {
  public:
    explicit Changing(Content content = {}) : content_(std::move(content)) {}

    Content now() const {
        const std::lock_guard lock(mutex_);
        return content_;
    }
    // Runs the change on the content; what it answers says whether there was one.
    bool change(const std::function<bool(Content&)>& change) {
        const std::lock_guard lock(mutex_);
        const bool changed = change(content_);
        changed_ = changed_ || changed;
        return changed;
    }

    // The whole content if it changed since the last call; keepChanged marks a content that could not be
    // written.
    std::optional<Content> takeChanges() {
        const std::lock_guard lock(mutex_);
        return std::exchange(changed_, false) ? std::optional(content_) : std::nullopt;
    }
    void keepChanged() {
        const std::lock_guard lock(mutex_);
        changed_ = true;
    }

  private:
    mutable std::mutex mutex_;
    Content content_;
    bool changed_ = false;
};

}  // namespace wsadmin::platform::lab
