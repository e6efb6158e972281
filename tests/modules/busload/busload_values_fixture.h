// Loads and GPS states without a bus, and what the browser is sent of them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "modules/busload/busload_catalogue.h"
#include "modules/busload/busload_values.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"
#include "tests/modules/busload/busload_samples.h"

class BusloadValuesFixture : public testing::Test {
  protected:
    // The logger's answer comes in, as on the bus thread.
    void know(const std::string& logger,
              const std::vector<KRPResponseGetBusNames::busName_t>& buses) {
        const KRPResponseGetBusNames answer(buses);
        busInfo->addBusnamesMessage(&answer, logger);
    }
    // What the browser has been sent since the last call.
    std::vector<std::string> sent() { return session_.takeSent(); }
    void showInitialValues() {
        sendInitialValues();
        sent();
    }
    static void arrive(const BusLoadExtMessage& message, const std::string& logger) {
        updateBusValue(&message, logger);
    }
    static void arrive(const GPSTraceMessage& message, const std::string& logger) {
        updateBusValueGps(&message, logger);
    }

    WorkerSession session_;
    LogCapture log_;
};
