// The remote-control monitor: what the screen of the logger's handheld control unit shows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "desk/services/audience.h"
#include "desk/services/monitors.h"
#include "desk/services/service.h"
#include "desk/services/signal_playback.h"
#include "krpbus/client/krpbus_client.h"

namespace desk {

/// Answers request 83 with the monitors, and sends the values on the screen to every
/// client from its "61-HCUStartRCMon" until its "62-HCUStopRCMon", or until it vanishes. There is
/// one unit, and so one selected screen (a notice of type SM_RCMON, "0" to "9") for all who watch
/// it; 0 at first. Values on a screen have no web-application name.
class MonitorService : public Service {
  public:
    /// As SignalService's. The source is this service's own.
    MonitorService(KRPBusClient& bus, Agenda& agenda, std::unique_ptr<SignalSource> source,
                   std::optional<double> rate, const Stagger& stagger = {});

    std::string_view participant() const override { return kHandheldServer; }
    std::unique_ptr<KRPMessageResponse> answer(const KRPMessageRequest& request) override;
    bool takeNotice(const SystemMessage& notice) override;
    void clientMissing(const std::string& address) override { audience_.missing(address); }

  private:
    /// A value as it was last read.
    struct Shown {
        std::string value;
        std::uint64_t timestamp = 0;
    };
    bool takeState(const SystemMessage& notice);
    bool select(const std::string& screen);
    void take(const SignalReading& reading, std::uint64_t timestamp);
    void showAll(const std::string& client);
    void send(std::size_t signal, const Shown& shown, const std::string& client);
    bool isOnScreen(std::size_t signal);
    const std::vector<Monitor>& monitors();

    KRPBusClient& bus_;
    Audience audience_;
    SignalPlayback playback_;
    std::vector<Monitor> monitors_;  // see monitors()
    std::size_t selected_ = 0;
    std::map<std::size_t, Shown> shown_;  // by signal
};

}  // namespace desk
