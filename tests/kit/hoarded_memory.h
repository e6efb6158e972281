#pragma once

#include <cstddef>
#include <cstdlib>
#include <utility>

/// Takes all the memory that a process can have, down to small blocks, and gives it back.
class HoardedMemory {
  public:
    HoardedMemory() = default;
    ~HoardedMemory() { giveBack(); }
    HoardedMemory(const HoardedMemory&) = delete;
    HoardedMemory& operator=(const HoardedMemory&) = delete;

    void takeAll() {
        for (std::size_t size = kLargest; size >= kSmallest; size /= 2) {
            while (void* const block = std::malloc(size)) {
                *static_cast<void**>(block) = std::exchange(first_, block);
            }
        }
    }

    void giveBack() {
        while (void* const block = first_) {
            first_ = *static_cast<void**>(block);
            std::free(block);
        }
    }

  private:
    static constexpr std::size_t kLargest = 1024 * 1024;
    static constexpr std::size_t kSmallest = 64 * 1024;

    void* first_ = nullptr;  // each block begins with the address of the next
};
