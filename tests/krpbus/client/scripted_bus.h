// Tests against a scripted bus server, with and without TLS.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "krpbus/client/krpbus_client.h"
#include "tests/kit/patient_connect.h"
#include "tests/krpbus/client/bus_certificate.h"
#include "tests/krpbus/client/scripted_server.h"

// The parameter: whether over TLS.
class ScriptedBus : public testing::TestWithParam<bool> {
  protected:
    ScriptedBus() {
        if (GetParam()) {
            certificate_.emplace();
            setenv("SSL_CERT_FILE", certificate_->certificate().c_str(), 1);
        }
    }

    ScriptedServer serve(ScriptedServer::Script script) const {
        return ScriptedServer(std::move(script), certificate_ ? &*certificate_ : nullptr);
    }

    /// A client that has tried once to connect.
    static std::unique_ptr<KRPBusClient> clientOf(
        const ScriptedServer& server,
        std::chrono::milliseconds probeInterval = std::chrono::seconds(5)) {
        KRPBusOptions options;
        options.mac = "02:00:00:00:00:01";
        options.probeInterval = probeInterval;
        const std::string scheme = GetParam() ? "tls" : "nats";
        return std::make_unique<KRPBusClient>(
            "me", scheme + "://127.0.0.1:" + std::to_string(server.port()), 1, options);
    }

    /// One that is connected, where the server lets it in at all: on a busy machine the first login
    /// may take too long.
    static std::unique_ptr<KRPBusClient> connectTo(
        const ScriptedServer& server,
        std::chrono::milliseconds probeInterval = std::chrono::seconds(5)) {
        auto client = clientOf(server, probeInterval);
        EXPECT_TRUE(connectPatiently(*client));
        return client;
    }

  private:
    std::optional<Certificate> certificate_;
};

inline std::string plainOrTls(const testing::TestParamInfo<bool>& tested) {
    return tested.param ? "Tls" : "Plain";
}
