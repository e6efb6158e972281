// Connecting to a bus server from a machine that is busy with other tests.
#pragma once

#include <chrono>
#include <thread>

#include "krpbus/client/krpbus_client.h"

/// Connects a client, where it is not connected yet, to a server that is there: one login may take
/// longer than the client waits, many in turn do not. False when the server is not.
inline bool connectPatiently(KRPBusClient& client) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!client.isConnected() && !client.connectToServer()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}
