#include "desk/services/event_store.h"

#include <fcntl.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "desk/services/escaped_text.h"
#include "desk/services/kept_file.h"

namespace desk {

namespace {

constexpr const char* kWhat = "event file";

std::string toLine(const EventStore::Event& event) {
    return std::to_string(event.number) + " " + std::to_string(event.timestamp) + " " +
           escapeText(event.time_zone) + " " + escapeText(event.marker_id) + "\n";
}

std::size_t textOf(const EventStore::Event& event) {
    return event.time_zone.size() + event.marker_id.size();
}

bool fromLine(const std::string& line, EventStore::Event& event) {
    std::istringstream fields(line);
    std::string timeZone;
    std::string markerId;
    std::string rest;
    return fields >> event.number >> event.timestamp >> timeZone >> markerId && !(fields >> rest) &&
           event.number > 0 && unescapeText(timeZone, event.time_zone) &&
           unescapeText(markerId, event.marker_id);
}

}  // namespace

EventStore::EventStore(std::filesystem::path file, std::size_t cap)
    : file_(std::move(file)), cap_(cap) {
    if (!file_.empty()) {
        load();
    }
}

void EventStore::load() {
    const KeptFile file(kWhat, file_, O_RDWR | O_CREAT);
    std::ifstream stream(file_, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    std::size_t start = 0;
    for (std::size_t end = 0; (end = content.find('\n', start)) != std::string::npos;
         start = end + 1) {
        Event event;
        ++lines_;
        if (!fromLine(content.substr(start, end - start), event)) {
            throw std::runtime_error("line " + std::to_string(lines_) + " of the event file \"" +
                                     file_.string() + "\" is no event");
        }
        textThere_ += textOf(event);
        take(std::move(event));
    }
    if (start != content.size()) {
        file.cut(start);
    }
}

bool EventStore::hasEventAt(std::uint64_t timestamp) const {
    return std::any_of(events_.rbegin(), events_.rend(),
                       [timestamp](const Event& event) { return event.timestamp == timestamp; });
}

const EventStore::Event& EventStore::add(std::uint64_t timestamp, const std::string& timeZone,
                                         const std::string& markerId) {
    Event event{timestamp, timeZone, lastNumber_ + 1, markerId};
    if (!file_.empty()) {
        append(event);
    }
    take(std::move(event));
    if (!file_.empty() && (lines_ > 2 * cap_ + 100 || textThere_ > 2 * kMostText)) {
        rewrite();
    }
    return events_.back();
}

void EventStore::clear() {
    events_.clear();
    text_ = 0;
    lastNumber_ = 0;
    if (!file_.empty()) {
        rewrite();
    }
}

void EventStore::take(Event event) {
    lastNumber_ = event.number;
    text_ += textOf(event);
    events_.push_back(std::move(event));
    while (isTooMuch()) {
        text_ -= textOf(events_.front());
        events_.pop_front();
    }
}

bool EventStore::isTooMuch() const {
    return events_.size() > cap_ || (events_.size() > 1 && text_ > kMostText);
}

void EventStore::append(const Event& event) {
    const KeptFile file(kWhat, file_, O_WRONLY | O_APPEND | O_CREAT);
    file.write(toLine(event));
    file.sync();
    ++lines_;
    textThere_ += textOf(event);
}

void EventStore::rewrite() {
    std::string content;
    for (const Event& event : events_) {
        content += toLine(event);
    }
    replaceFile(kWhat, file_, content);
    lines_ = events_.size();
    textThere_ = text_;
}

}  // namespace desk
