// A set of marker identifiers, for merging very many events.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace klv {

/// Keeps views: the texts must live as long as the set has them. One flat table, so that a look-up
/// goes to one place of the memory, or two when the marker is there. One thread at a time.
class MarkerSet {
  public:
    /// Makes room for as many more markers; inserting those does not fail.
    void reserve(std::size_t more);
    /// True when the marker was not there.
    bool insert(std::string_view marker);
    bool contains(std::string_view marker) const;
    void clear();

  private:
    /// An empty slot has the number 0, a used one the number of its marker counted from 1.
    struct Slot {
        std::uint32_t hash = 0;
        std::uint32_t number = 0;
    };

    /// The slot that the marker has or would get. There is always an empty one.
    std::size_t find(std::string_view marker, std::uint32_t hash) const;
    void grow(std::size_t slots);

    std::vector<std::string_view> markers_;
    std::vector<Slot> slots_;  // a power of two of them, at most half of them used
};

}  // namespace klv
