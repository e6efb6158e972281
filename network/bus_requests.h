// Sending requests to one logger or to all loggers of the network.
#pragma once

#include <cstdint>
#include <string>

#include "krpbus/client/live_data.h"

class MessageBase;

/// Sends a copy of the message to `destination` on the logger with this MAC address: directly when
/// that is this logger's own, through the forwarder otherwise. Any thread of the session.
void sendMessage(const MessageBase& message, const std::string& destination,
                 const std::string& mac);

/// Sends a copy of the message to `destination` on this logger alone. Nothing is sent, and nobody
/// is told, in a session without a bus. Any thread of the session.
void sendToOwnLogger(const MessageBase& message, const std::string& destination);

/// Sends a copy of the message to `destination` on this logger and on every other one of the
/// network. Any thread of the session.
void sendKslBroadcast(const MessageBase& message, const std::string& destination);

/// Asks all loggers of the network for live data of this kind, or for no more of it, and listens to
/// it so long where they send it once for all sessions. Any thread of the session.
void startLiveData(krpbus::LiveData data);
void stopLiveData(krpbus::LiveData data);

/// Which connection to the bus the session has, counted from 1; 0 before the first one. While there
/// is none it is the last one that there was. Any thread of the session.
std::uint32_t busConnection();

/// Asks for the neighbour list unless that is under way, then waits up to waitCount * 100 ms for
/// it.
void getKSLNetwork(int waitCount);

/// Makes sure that the neighbour list is there: asks for it and waits when it is not.
void checkKSLNetwork(int waitCount);

/// The bus connection was lost and is back: a neighbour list that was asked for will not come, and
/// live data that has been started is asked for again. Bus thread.
void networkBusReconnected();

void waRequestMessage_setup();
void waRequestMessage_destroy();
