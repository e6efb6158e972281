// What the buses of a vehicle say: the frames of an input, taken apart by databases.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "desk/can/frame_input.h"
#include "desk/can/load_meter.h"
#include "desk/can/text_input.h"
#include "desk/dbc/database.h"
#include "desk/dbc/decoder.h"
#include "desk/sources/can_values.h"

namespace desk {

/// A database, and the interface whose frames it is for; without a name it is for all of them.
struct CanDatabase {
    std::string file;
    std::string interface;
    std::shared_ptr<const dbc::Database> content;
};

struct CanSetup {
    std::string file;                     // of candump's texts; "-": standard input
    std::vector<std::string> interfaces;  // instead of a file: this machine's own
    std::vector<CanDatabase> databases;
    can::Playback playback;
    bool raw = false;  // every identifier is a signal, too
    can::BitRate rate;
    std::map<std::string, can::BitRate> rates;  // of single interfaces
};

/// Takes the frames of its input apart and keeps the newest value of each signal. What is listed
/// grows: interfaces and identifiers that turn up later are there with the next listing, and
/// nothing that has been listed is named anew. One thread.
class CanFeed {
  public:
    /// Throws std::invalid_argument where there is no such input.
    explicit CanFeed(CanSetup setup);

    /// Frames are wanted from now on.
    void start() { input_->start(); }
    /// Handles the frames that have come.
    void poll();

    /// Lists what is known by now.
    void list();
    /// What is listed, with its newest values.
    const CanValues& values() const { return values_; }
    /// Watches a signal by its name. It is listed as soon as its interface is known.
    void watch(const std::string& signal, CanValues::Watcher watcher) {
        values_.watch(signal, std::move(watcher));
    }

    /// The interfaces; a place is a bus's channel.
    std::vector<std::string> interfaces() const { return input_->interfaces().list(); }
    /// The load of the last second in percent; nothing while the interface says nothing.
    std::optional<double> load(std::size_t interface);
    const CanSetup& setup() const { return setup_; }
    const can::InputCounters& counters() const { return input_->counters(); }

  private:
    /// A message of a database on one interface, and the places of its signals.
    struct Known {
        const dbc::Message* message;
        dbc::Decoder decoder;
        std::vector<std::size_t> places;
        std::vector<std::size_t> longSignals;  // more than 64 bits
    };
    struct Interface {
        std::string name;
        bool isListed = false;
        std::unique_ptr<can::LoadMeter> load;
        std::unordered_map<std::uint32_t, std::vector<std::size_t>> byId;     // into known_
        std::unordered_map<std::uint32_t, std::vector<std::size_t>> byGroup;  // J1939
        std::unordered_map<std::uint32_t, std::size_t> wholeFrames;           // places
        std::set<std::uint32_t> newFrames;  // identifiers that wait for a listing
    };
    Interface& interfaceAt(std::size_t place);
    void listInterface(std::size_t place);
    void listMessage(const dbc::Message& message, std::size_t place);
    void listFrame(std::uint32_t id, std::size_t place);
    std::string prefix(const Interface& interface) const;
    void handle(const can::Frame& frame);
    void handleWhole(const can::Frame& frame, Interface& interface);
    void decode(const can::Frame& frame, const Known& known);
    void updateFilters();
    void tellOfLosses();

    const CanSetup setup_;
    std::unique_ptr<can::FrameInput> input_;
    std::vector<Interface> interfaces_;
    std::vector<Known> known_;
    CanValues values_;
    std::optional<bool> hasPrefixes_;   // settled by the first listing
    bool hasUnnamedInterface_ = false;  // listed before any frame has come
    std::vector<can::Frame> frames_;
    std::vector<dbc::RawValue> decoded_;  // of one frame
    std::int64_t ahead_ = 0;  // of the frames' times before this machine's clock, microseconds
    std::uint64_t toldLost_ = 0;
    std::uint64_t loadAsked_ = 0;  // when a load was asked for last
    bool hasFilters_ = false;
};

}  // namespace desk
