// Bytes of frames, which carry passwords: they are overwritten whenever their memory is freed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "framework/core/corestring.h"

namespace channel {

// New elements are as undefined as those of an array: whoever makes room fills it.
template <class T>
struct WipingAllocator {
    using value_type = T;
    WipingAllocator() = default;
    template <class Other>
    WipingAllocator(const WipingAllocator<Other>&) noexcept {}  // NOLINT(google-explicit-constructor)
    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* at, std::size_t count) noexcept {
        CORE::wipeMemory(at, count * sizeof(T));
        std::allocator<T>().deallocate(at, count);
    }
    void construct(T* at) noexcept { ::new (static_cast<void*>(at)) T; }
    template <class Other>
    bool operator==(const WipingAllocator<Other>&) const noexcept {
        return true;
    }
};

using Bytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;
using SealedBytes = std::vector<std::uint8_t>;  // encrypted
using ByteView = std::span<const std::uint8_t>;

}  // namespace channel
