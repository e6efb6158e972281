#include "modules/trigger/marker_set.h"

#include <bit>
#include <functional>
#include <utility>

namespace klv {

namespace {

constexpr std::size_t kFewestSlots = 16;

std::uint32_t hashOf(std::string_view marker) {
    const std::uint64_t hash = std::hash<std::string_view>()(marker);
    return static_cast<std::uint32_t>(hash ^ (hash >> 32U));
}

}  // namespace

void MarkerSet::reserve(std::size_t more) {
    const std::size_t wanted = markers_.size() + more;
    markers_.reserve(wanted);
    if (slots_.size() < 2 * wanted || slots_.empty()) {
        grow(std::bit_ceil(2 * wanted + kFewestSlots));
    }
}

bool MarkerSet::insert(std::string_view marker) {
    if (slots_.size() < 2 * (markers_.size() + 1)) {
        reserve(markers_.size() + 1);
    }
    const std::uint32_t hash = hashOf(marker);
    Slot& slot = slots_[find(marker, hash)];
    if (slot.number != 0) {
        return false;
    }
    markers_.push_back(marker);
    slot = {hash, static_cast<std::uint32_t>(markers_.size())};
    return true;
}

bool MarkerSet::contains(std::string_view marker) const {
    return !slots_.empty() && slots_[find(marker, hashOf(marker))].number != 0;
}

void MarkerSet::clear() {
    markers_.clear();
    slots_.clear();
}

std::size_t MarkerSet::find(std::string_view marker, std::uint32_t hash) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    while (slots_[at].number != 0 &&
           (slots_[at].hash != hash || markers_[slots_[at].number - 1] != marker)) {
        at = (at + 1) & mask;
    }
    return at;
}

void MarkerSet::grow(std::size_t slots) {
    std::vector<Slot> grown(slots);
    const std::size_t mask = slots - 1;
    for (const Slot& slot : slots_) {
        if (slot.number != 0) {
            std::size_t at = slot.hash & mask;
            while (grown[at].number != 0) {
                at = (at + 1) & mask;
            }
            grown[at] = slot;
        }
    }
    slots_ = std::move(grown);
}

}  // namespace klv
