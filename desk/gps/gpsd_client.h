// A GPS receiver, as gpsd tells of it.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace desk {

/// Where a receiver was last.
struct GpsFix {
    bool isValid = false;        ///< there is a fix now
    double latitude = 0.0;       ///< degrees, north positive
    double longitude = 0.0;      ///< degrees, east positive
    std::optional<double> speed;   ///< m/s
    std::optional<double> course;  ///< degrees from true north, clockwise
    std::uint64_t number = 0;    ///< of the report: another one is another report
};

/// Follows one gpsd from a thread of its own, and connects again, about once a second, when it has
/// gone. Any thread may ask.
class GpsdClient {
  public:
    /// A fix that is not told anew for so long is none.
    static constexpr std::chrono::seconds kFreshFor{5};

    /// "host", "host:port" or "[address]:port"; the usual port is 2947. Throws
    /// std::invalid_argument. Nothing is connected before start().
    explicit GpsdClient(const std::string& address);
    ~GpsdClient();
    GpsdClient(const GpsdClient&) = delete;
    GpsdClient& operator=(const GpsdClient&) = delete;

    void start();

    /// Whether gpsd has answered at least once.
    bool wasThere() const { return wasThere_; }
    /// The newest report. Not valid without a fix, and while gpsd is gone.
    GpsFix fix() const;

  private:
    using Clock = std::chrono::steady_clock;
    void run();
    void follow();
    void store(const GpsFix& fix);
    void lose(const std::string& why);

    std::string host_;
    std::string port_ = "2947";
    std::atomic<bool> isStopping_{false};
    std::atomic<bool> wasThere_{false};
    mutable std::mutex mutex_;
    GpsFix fix_;
    Clock::time_point fixTime_;
    bool hasComplained_ = false;  // of this absence
    std::thread thread_;
};

}  // namespace desk
