// The live-view signals of a logger.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "desk/loop/agenda.h"
#include "desk/services/audience.h"
#include "desk/services/outbox.h"
#include "desk/services/service.h"
#include "desk/services/signal_playback.h"
#include "krpbus/client/krpbus_client.h"
#include "krpbus/messages/signal_message.h"

namespace desk {

/// Answers request 137 with the signals, and sends their values to every client
/// from its "77-LVStartSignals" until its "78-LVStopSignals", or until it vanishes.
class SignalService : public Service {
  public:
    /// `rate` is in values per second and signal, of a recording in rows per second; without it
    /// values come as the source has them. The client, the agenda and the outbox must outlive this
    /// object, and the agenda must not run afterwards.
    SignalService(KRPBusClient& bus, Agenda& agenda, Outbox& outbox,
                  std::unique_ptr<SignalSource> source, std::optional<double> rate,
                  std::uint8_t networkOffset, const Stagger& stagger = {});

    std::string_view participant() const override { return kHandheldServer; }
    std::unique_ptr<KRPMessageResponse> answer(const KRPMessageRequest& request) override;
    bool takeNotice(const SystemMessage& notice) override;
    void clientMissing(const std::string& address) override { audience_.missing(address); }

  private:
    void send(const std::vector<SignalReading>& readings, std::uint64_t timestamp);
    SignalMessage messageOf(const SignalReading& reading, std::uint64_t timestamp) const;

    KRPBusClient& bus_;
    Outbox& outbox_;
    const std::uint8_t networkOffset_;
    Audience audience_;
    SignalPlayback playback_;
};

}  // namespace desk
