#include "desk/gps/gpsd_client.h"

#include <gps.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "base/log.h"

namespace desk {

namespace {

constexpr int kWaitMicroseconds = 200'000;
constexpr std::chrono::milliseconds kStep{100};
constexpr int kStepsBetweenTries = 10;

static_assert(GPSD_API_MAJOR_VERSION >= 9, "times are timespecs since then");

std::optional<double> finite(bool isSet, double value) {
    return isSet && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

bool isPort(const std::string& text) {
    unsigned int port = 0;
    const auto [stopped, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return error == std::errc() && stopped == text.data() + text.size() && port > 0 && port < 65536;
}

/// What a report says; nothing when it is none of a position.
std::optional<GpsFix> fixOf(const gps_data_t& data) {
    if ((data.set & MODE_SET) == 0) {
        return std::nullopt;
    }
    GpsFix fix;
    fix.isValid = data.fix.mode >= MODE_2D && std::isfinite(data.fix.latitude) &&
                  std::isfinite(data.fix.longitude);
    if (fix.isValid) {
        fix.latitude = data.fix.latitude;
        fix.longitude = data.fix.longitude;
        fix.speed = finite((data.set & SPEED_SET) != 0, data.fix.speed);
        fix.course = finite((data.set & TRACK_SET) != 0, data.fix.track);
    }
    return fix;
}

}  // namespace

GpsdClient::GpsdClient(const std::string& address) {
    const bool isBracketed = address.starts_with('[');
    const std::size_t close = isBracketed ? address.find(']') : 0;
    const std::size_t colon = close == std::string::npos ? close : address.find(':', close);
    host_ = isBracketed && close != std::string::npos ? address.substr(1, close - 1)
                                                      : address.substr(0, colon);
    if (colon != std::string::npos) {
        port_ = address.substr(colon + 1);
    }
    if (host_.empty() || !isPort(port_)) {
        throw std::invalid_argument("\"" + address + "\" is not HOST or HOST:PORT of a gpsd");
    }
}

GpsdClient::~GpsdClient() {
    isStopping_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
}

void GpsdClient::start() {
    if (!thread_.joinable()) {
        thread_ = std::thread([this] { run(); });
    }
}

GpsFix GpsdClient::fix() const {
    const std::lock_guard lock(mutex_);
    GpsFix fix = fix_;
    fix.isValid = fix.isValid && Clock::now() - fixTime_ < kFreshFor;
    return fix;
}

void GpsdClient::store(const GpsFix& fix) {
    const std::lock_guard lock(mutex_);
    const std::uint64_t number = fix_.number + 1;
    fix_ = fix;
    fix_.number = number;
    fixTime_ = Clock::now();
}

void GpsdClient::lose(const std::string& why) {
    store({});
    if (!hasComplained_) {
        hasComplained_ = true;
        LogUtil::log(LogLevel::Warning, "lose",
                     "gpsd at " + host_ + ":" + port_ + ": " + why + "; trying again");
    }
}

void GpsdClient::run() {
    while (!isStopping_) {
        follow();
        for (int i = 0; i < kStepsBetweenTries && !isStopping_; ++i) {
            std::this_thread::sleep_for(kStep);
        }
    }
}

/// One connection, from its beginning to its end.
void GpsdClient::follow() {
    gps_data_t data{};
    if (gps_open(host_.c_str(), port_.c_str(), &data) != 0) {
        lose(gps_errstr(errno));
        return;
    }
    gps_stream(&data, WATCH_ENABLE | WATCH_JSON, nullptr);
    while (!isStopping_) {
        if (!gps_waiting(&data, kWaitMicroseconds)) {
            continue;
        }
        // The record keeps what older reports have set.
        data.set = 0;
        errno = 0;
        const int size = gps_read(&data, nullptr, 0);
        if (size < 0) {
            lose("it has gone");
            break;
        }
        if (size > 0 && !wasThere_.exchange(true)) {
            LogUtil::log(LogLevel::Info, "follow", "gpsd at " + host_ + ":" + port_ + " is there");
        }
        hasComplained_ = hasComplained_ && size == 0;
        if (const auto fix = fixOf(data)) {
            store(*fix);
        }
    }
    gps_close(&data);
}

}  // namespace desk
