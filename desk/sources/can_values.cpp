#include "desk/sources/can_values.h"

#include "base/log.h"
#include "desk/dbc/decoder.h"

namespace desk {

std::optional<std::size_t> CanValues::add(SignalConfig config, const dbc::Signal* signal) {
    if (!names_.insert(config.webappName).second) {
        LogUtil::log(LogLevel::Warning, "add",
                     "a second signal has the name " + config.webappName + " and is left out");
        return std::nullopt;
    }
    for (std::size_t i = 0; i < watchers_.size(); ++i) {
        if (watchers_[i].first == config.webappName) {
            watched_[configs_.size()].push_back(i);
        }
    }
    configs_.push_back(std::move(config));
    states_.emplace_back();
    states_.back().signal = signal;
    return configs_.size() - 1;
}

void CanValues::set(std::size_t signal, std::uint64_t raw, std::uint64_t time) {
    State& state = states_[signal];
    state.changes += state.frames == 0 || state.raw != raw ? 1U : 0U;
    state.raw = raw;
    state.time = time;
    ++state.frames;
    if (!watched_.empty()) {
        tellWatchers(signal);
    }
}

void CanValues::setText(std::size_t signal, std::string text, std::uint64_t time) {
    State& state = states_[signal];
    state.changes += state.frames == 0 || state.text != text ? 1U : 0U;
    state.text = std::move(text);
    state.time = time;
    ++state.frames;
}

void CanValues::tellWatchers(std::size_t signal) const {
    const auto watchers = watched_.find(signal);
    if (watchers == watched_.end()) {
        return;
    }
    const State& state = states_[signal];
    const auto text = state.signal->texts.find(state.raw);
    for (const std::size_t watcher : watchers->second) {
        watchers_[watcher].second(dbc::physicalValue(*state.signal, state.raw),
                                  text == state.signal->texts.end() ? "" : text->second,
                                  state.time);
    }
}

void CanValues::watch(const std::string& signal, Watcher watcher) {
    watchers_.emplace_back(signal, std::move(watcher));
    for (std::size_t i = 0; i < configs_.size(); ++i) {
        if (configs_[i].webappName == signal) {
            watched_[i].push_back(watchers_.size() - 1);
        }
    }
}

SignalReading CanValues::reading(std::size_t signal) const {
    const State& state = states_[signal];
    SignalReading reading;
    reading.signal = signal;
    reading.time = state.time;
    if (state.signal == nullptr || state.signal->length > 64) {
        reading.value = state.text;
        return reading;
    }
    reading.raw = state.raw;
    reading.phys = dbc::physicalValue(*state.signal, state.raw);
    reading.value = dbc::physicalText(*state.signal, state.raw);
    if (const auto text = state.signal->texts.find(state.raw); text != state.signal->texts.end()) {
        reading.descr = text->second;
    }
    return reading;
}

}  // namespace desk
