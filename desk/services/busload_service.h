// The buses of a logger and their loads.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "desk/loop/agenda.h"
#include "desk/services/audience.h"
#include "desk/services/outbox.h"
#include "desk/services/service.h"
#include "desk/services/stagger.h"
#include "desk/sources/bus_source.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/gps_trace_message.h"

namespace desk {

/// Answers request 81 with the buses, and sends their loads and the state of the GPS receiver to
/// every client from its "75-LVStartBusload" until its "76-LVStopBusload", or until it vanishes.
class BusloadService : public Service {
  public:
    /// Figures per second and bus where nobody asks for a certain number.
    static constexpr double kUsualRate = 2.0;

    /// The client, the agenda and the outbox must outlive this object, and the agenda must not run
    /// afterwards.
    BusloadService(KRPBusClient& bus, Agenda& agenda, Outbox& outbox,
                   std::unique_ptr<BusSource> source, std::optional<double> rate,
                   std::uint8_t networkOffset, const Stagger& stagger = {});

    std::string_view participant() const override { return kHandheldServer; }
    std::unique_ptr<KRPMessageResponse> answer(const KRPMessageRequest& request) override;
    bool takeNotice(const SystemMessage& notice) override;
    void clientMissing(const std::string& address) override { audience_.missing(address); }

  private:
    void start(const std::string& client, bool takesShared);
    void sendDue();
    BusLoadExtMessage figureOf(const BusReading& reading, std::uint64_t timestamp) const;
    static GPSTraceMessage stateOf(const GpsReading& reading, std::uint64_t timestamp);
    void send(BusLoadExtMessage figure);
    void send(const GPSTraceMessage& state);
    std::uint8_t offsetFor(const std::string& client) const;

    KRPBusClient& bus_;
    Agenda& agenda_;
    Outbox& outbox_;
    const std::unique_ptr<BusSource> source_;
    const Clock::duration period_;
    const std::uint8_t networkOffset_;
    const Stagger stagger_;
    Audience audience_;
    Clock::time_point begin_;  // when loads began to be wanted
    Clock::time_point due_;    // when the next ones are
    bool runs_ = false;        // sendDue() is on the agenda
    std::vector<BusReading> readings_;
};

}  // namespace desk
