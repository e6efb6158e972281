// The signals of a vehicle's CAN buses with their newest values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "desk/dbc/database.h"
#include "desk/sources/signal_source.h"

namespace desk {

/// A table that grows: a signal keeps its place and its name. One thread.
class CanValues {
  public:
    /// The newest value of a signal.
    struct State {
        std::uint64_t raw = 0;
        std::uint64_t time = 0;               // of its frame, microseconds since 1970
        std::uint32_t frames = 0;             // how many have brought a value
        std::uint32_t changes = 0;            // how many of them brought another one
        const dbc::Signal* signal = nullptr;  // null: a whole frame
        std::string text;                     // where it is no number
    };
    /// Is told of each value: as a number, as a text, and when its frame was.
    using Watcher = std::function<void(double value, const std::string& text, std::uint64_t time)>;

    /// Adds a signal, `signal` null for a whole frame, and returns its place. Nothing where there
    /// is one of this name.
    std::optional<std::size_t> add(SignalConfig config, const dbc::Signal* signal);
    const std::vector<SignalConfig>& signals() const { return configs_; }
    const State& state(std::size_t signal) const { return states_[signal]; }
    /// The value of a signal, as it is sent.
    SignalReading reading(std::size_t signal) const;

    /// A frame has brought a value.
    void set(std::size_t signal, std::uint64_t raw, std::uint64_t time);
    void setText(std::size_t signal, std::string text, std::uint64_t time);

    /// Watches the numbers of a signal by its name, which may be added later.
    void watch(const std::string& signal, Watcher watcher);
    bool isWatched() const { return !watchers_.empty(); }

  private:
    void tellWatchers(std::size_t signal) const;

    std::vector<SignalConfig> configs_;
    std::vector<State> states_;
    std::set<std::string> names_;
    std::vector<std::pair<std::string, Watcher>> watchers_;
    std::unordered_map<std::size_t, std::vector<std::size_t>> watched_;  // by signal
};

}  // namespace desk
