// Reference-counted objects. A new object has one reference, its creator's; the last Release deletes it.
// AddRef and Release are thread safe.
#pragma once

#include <atomic>
#include <utility>

#include "framework/core/export.h"

namespace CORE {

class MFWCORE_API coreref {
  public:
    coreref() = default;
    coreref(const coreref&) = delete;
    coreref& operator=(const coreref&) = delete;
    virtual ~coreref();
    virtual long AddRef() noexcept;   // the count afterwards
    virtual long Release() noexcept;  // the count afterwards; 0: the object was deleted
    long RefCount() const noexcept { return count_.load(std::memory_order_relaxed); }
    // Adds a reference unless the count has reached 0 already; for a pointer that holds no reference itself.
    bool TryAddRef() noexcept {
        long count = count_.load(std::memory_order_relaxed);
        while (count > 0)
            if (count_.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel)) return true;
        return false;
    }

  private:
    std::atomic<long> count_{1};
};

// Holds one reference for as long as it lives.
template <class T>
class refptr {
  public:
    refptr() = default;
    static refptr adopt(T* object) noexcept {  // takes over the caller's reference
        refptr r;
        r.object_ = object;
        return r;
    }
    static refptr share(T* object) noexcept {  // adds a reference of its own
        if (object) object->AddRef();
        return adopt(object);
    }
    refptr(const refptr& other) noexcept : refptr(share(other.object_)) {}
    refptr(refptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    refptr& operator=(refptr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~refptr() { reset(); }
    void reset() noexcept {
        if (T* object = std::exchange(object_, nullptr)) object->Release();
    }
    T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

  private:
    T* object_ = nullptr;
};

}  // namespace CORE
