// A session with a bus, and the handheld unit's server on it.
#pragma once

#include <gtest/gtest.h>

#include "tests/kit/bus_participant.h"
#include "tests/kit/nats_server.h"
#include "tests/kit/patient_connect.h"
#include "tests/kit/worker_session.h"

/// The session has its bus client, but no bus thread.
class HandheldSession : public testing::Test {
  protected:
    explicit HandheldSession(const std::string& name)
        : server_("HandheldServer", nats_.port()), client_(name, "127.0.0.1", nats_.port()) {
        connectPatiently(client_);
        session_.setup.krpbus = &client_;
    }
    ~HandheldSession() override { session_.setup.krpbus = nullptr; }

    NatsServer nats_;
    BusParticipant server_;
    KRPBusClient client_;
    WorkerSession session_;
};
