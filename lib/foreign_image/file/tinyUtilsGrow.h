// SPDX-License-Identifier: MIT
// Memory of records: single ones, and arrays that grow with the contents of a file, because its
// counts are not trusted.
#pragma once

#include "tinyNotice.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <type_traits>

/// Zero-filled memory for `count` records, to be freed with `free`. Null when out of memory, which
/// becomes the reason why the current call fails.
template <typename T>
[[nodiscard]] T* newRecords(std::size_t count) {
    auto* records = static_cast<T*>(std::calloc(count, sizeof(T)));
    if (records == nullptr) {
        notice::Call::failForMemory();
    }
    return records;
}

/// Collects elements and returns them as one malloc'ed array. Reports out of memory by results,
/// never by an exception.
template <typename T>
requires std::is_trivially_copyable_v<T>
class GrowingArray {
  public:
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] std::span<const T> elements() const { return {memory_.get(), size_}; }
    [[nodiscard]] T& back() { return memory_.get()[size_ - 1]; }

    /// Appends an element; false when out of memory.
    [[nodiscard]] bool push(const T& element) {
        if (size_ == room_ && !resize(room_ == 0 ? kFirstRoom : room_ * 2)) {
            return false;
        }
        memory_.get()[size_++] = element;
        return true;
    }

    /// Appends elements; false when out of memory.
    [[nodiscard]] bool append(std::span<const T> elements) {
        const std::size_t size = size_ + elements.size();
        if (size > room_ && !resize(std::max(size, room_ * 2))) {
            return false;
        }
        if (!elements.empty()) {
            std::memcpy(static_cast<void*>(memory_.get() + size_), elements.data(),
                        elements.size_bytes());
        }
        size_ = size;
        return true;
    }

    void clear() { size_ = 0; }

    /// Removes the last elements.
    void shrink(std::size_t count) { size_ -= count; }

    /// Passes the array to the caller, who frees it, with room for a multiple of `step` elements;
    /// memory after the elements is zero. Null when there is no element.
    [[nodiscard]] T* release(std::size_t step = 1) {
        if (size_ != 0 && resize((size_ + step - 1) / step * step)) {
            std::memset(static_cast<void*>(memory_.get() + size_), 0, (room_ - size_) * sizeof(T));
        }
        if (size_ == 0) {
            memory_.reset();
        }
        size_ = 0;
        room_ = 0;
        return memory_.release();
    }

  private:
    static constexpr std::size_t kFirstRoom = 8;

    struct Free {
        void operator()(T* memory) const noexcept { std::free(memory); }
    };

    bool resize(std::size_t room) {
        // NOLINTNEXTLINE(bugprone-sizeof-expression): T may be a pointer
        void* moved = std::realloc(static_cast<void*>(memory_.get()), room * sizeof(T));
        if (moved == nullptr) {
            notice::Call::failForMemory();
            return false;
        }
        static_cast<void>(memory_.release()); // realloc has freed or returned it
        memory_.reset(static_cast<T*>(moved));
        room_ = room;
        return true;
    }

    std::unique_ptr<T, Free> memory_;
    std::size_t size_ = 0;
    std::size_t room_ = 0;
};
