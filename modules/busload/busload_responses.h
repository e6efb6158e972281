// What the browser is sent about loads and GPS states. Each of these classes is one answer,
// complete once it is constructed.
#pragma once

#include <string>

#include "json/wa_response_message.h"
#include "modules/busload/busload_data.h"

/// "busload_data" of a bus. The module mutex is held.
class WaResponseBusload : public WaResponseKRPMessage {
  public:
    WaResponseBusload(const BusKey& key, const BusloadData& data);
};

/// "busload_data" of a GPS receiver. The module mutex is held.
class WaResponseBusloadGps : public WaResponseKRPMessage {
  public:
    explicit WaResponseBusloadGps(const GpsData* data);
};

/// "busload_data" of a MOST bus. The module mutex is held.
class WaResponseBusloadMost : public WaResponseKRPMessage {
  public:
    WaResponseBusloadMost(const BusLoadExtMessage* message, const std::string& source);
};
