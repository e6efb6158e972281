// The events of a logger, kept over restarts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <string>

#include "krpbus/messages/krp_get_event_list.h"

namespace desk {

/// The newest events, up to a cap, in memory and, where a file is given, in that file. They are
/// also no more than have kMostText bytes of markers and time zones together, which whoever sets a
/// trigger makes as long as he likes: all of them go into one answer. The file has one event a
/// line: its number, its time, its time zone and its marker, separated by blanks, the texts as
/// words of desk/escaped_text.h. An event is in the file before add() returns. What stands behind
/// the last line's end was being written when the logger died, and is cut off.
class EventStore {
  public:
    using Event = KRPResponseGetEventList::event_t;

    /// A single event may have more.
    static constexpr std::size_t kMostText = std::size_t{8} * 1024 * 1024;

    /// An empty `file` means memory only. Reads what the file has; creates it where there is none.
    /// Throws std::runtime_error that says what is wrong: the file cannot be used, or holds
    /// something else than events.
    EventStore(std::filesystem::path file, std::size_t cap);

    /// In the order in which they came.
    const std::deque<Event>& events() const { return events_; }
    /// The number of the newest event ever; 0 before the first one.
    std::int32_t lastNumber() const { return lastNumber_; }
    bool hasEventAt(std::uint64_t timestamp) const;

    /// Adds an event under the next number. Throws std::runtime_error when it cannot be kept.
    const Event& add(std::uint64_t timestamp, const std::string& timeZone,
                     const std::string& markerId);
    /// Forgets all events; numbers begin anew.
    void clear();

  private:
    void load();
    void take(Event event);
    bool isTooMuch() const;
    void append(const Event& event);
    void rewrite();

    const std::filesystem::path file_;
    const std::size_t cap_;
    std::deque<Event> events_;
    std::size_t text_ = 0;  // bytes, of the events
    std::int32_t lastNumber_ = 0;
    std::size_t lines_ = 0;      // in the file
    std::size_t textThere_ = 0;  // bytes, of the lines in the file
};

}  // namespace desk
