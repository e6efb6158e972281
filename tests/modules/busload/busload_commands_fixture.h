// The bus load commands on a real bus, and what the browser is sent of them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "krpbus/messages/signal_message.h"
#include "modules/busload/bus_names_responses.h"
#include "modules/busload/busload_catalogue.h"
#include "modules/busload/busload_commands.h"
#include "modules/busload/busload_module.h"
#include "modules/busload/busload_values.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/module_session.h"
#include "tests/modules/busload/busload_samples.h"

inline std::string namesRequest(const std::string& payload) {
    return "KRPMessageRequest [id=81] [name=NotSet] [payload=" + payload + "]";
}

class BusloadCommandsFixture : public testing::Test {
  protected:
    BusloadCommandsFixture() { BaseSignal::debug = 0; }

    int run(const std::string& request) { return runRequest(&wa_handle_message_busload, request); }
    // A logger's answer, as on the bus thread.
    static void answer(const std::string& logger,
                       std::vector<KRPResponseGetBusNames::busName_t> buses) {
        const KRPResponseGetBusNames message(std::move(buses));
        EXPECT_NE(handleBusloadMessages(&message, logger), 0);
    }
    std::vector<std::string> sent() { return network_.session.takeSent(); }
    void expectBroadcast(const std::string& message) {
        EXPECT_EQ(network_.next("HandheldServer"), message);
        EXPECT_EQ(network_.next("KSLForwarder"), "ksl://0/*/HandheldServer " + message);
    }
    // The catalogue of a single logger is complete.
    void completeCatalogue() {
        run(R"({"command": "get_bus_names", "active": 1})");
        expectBroadcast(namesRequest("01"));
        answer(kLocalLogger, {bus(BUSID_CAN, 0, 0, "Powertrain")});
        sent();
    }

    LogCapture log_;
    ModuleSession network_;
};
