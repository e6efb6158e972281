// A logger's part in the logger network: how it joins, shows itself, leaves, and sees the others.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>

#include "desk/loop/agenda.h"
#include "desk/network/heartbeat.h"
#include "desk/network/neighbours.h"
#include "desk/services/service.h"
#include "krpbus/client/krpbus_client.h"

namespace desk {

/// Answers request 88, the neighbours, and tells the logger's clients when they change.
///
/// Joining takes three steps. The logger asks the members to show themselves and waits a moment for
/// them, so that it knows its neighbours before anybody can ask. Then it takes its participants on
/// the bus and shows itself. When that heartbeat has come back the bus server knows the
/// participants, and the logger is a member.
class Membership : public Service {
  public:
    struct Times {
        Milliseconds heartbeat;
        Milliseconds timeout;
    };
    struct Events {
        std::function<void()> open;      // take the participants on the bus
        std::function<void()> joined;    // requests are answered from now on
        std::function<void()> macTaken;  // another logger has the MAC address; called while joining
    };

    /// The client and the agenda must outlive this object, and the agenda must not run afterwards.
    Membership(KRPBusClient& bus, Agenda& agenda, const Times& times, Events events);

    /// Begins to join. Called once.
    void join();
    /// Tells the others that this logger goes. Nothing is sent afterwards.
    void leave();

    /// Takes a heartbeat, the own ones included.
    void take(const MessageBase& heartbeat);
    /// The connection to the bus server is new.
    void busCameBack();

    const Neighbours& neighbours() const { return neighbours_; }

    std::string_view participant() const override { return kHandheldServer; }
    std::unique_ptr<KRPMessageResponse> answer(const KRPMessageRequest& request) override;

  private:
    enum class State { Outside, Asking, Opening, Member, Gone };

    void beat();
    void send(Heartbeat::Kind kind);
    void takeOwn(const Heartbeat& heartbeat);
    void takeOfSameMac(const Heartbeat& heartbeat);
    void takeOfOther(const std::string& mac, const Heartbeat& heartbeat);
    void waitForMembers();
    void open();
    void refuse();
    void answerNewcomers();
    void neighboursChanged();
    void announceNeighbours();

    KRPBusClient& bus_;
    Agenda& agenda_;
    const Times times_;
    const Events events_;
    const std::string instance_ = Heartbeat::newInstance();
    State state_ = State::Outside;
    bool waitsForMembers_ = false;
    bool answerDue_ = false;
    bool announcementDue_ = false;
    Neighbours neighbours_;
    std::set<std::string> sameMac_;  // other instances with this logger's MAC address
};

}  // namespace desk
