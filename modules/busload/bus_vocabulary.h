// How a bus is named to the browser: its identifier, its channel and the unit of its load.
#pragma once

#include <cstdint>

#include "json/document.h"
#include "krpbus/messages/bus_id.h"
#include "krpbus/messages/busload_message.h"

/// Adds the member "bus_id" to the object: the text of busIdText(). Any thread.
void addBusIdToDom(Value& object, busid_t id, Document::AllocatorType& allocator);

/// Adds the member "unit" to the object: the text of busLoadUnitText(). Any thread.
void addBusloadUnitToDom(Value& object, BusLoadExtMessage::unit_t unit,
                         Document::AllocatorType& allocator);

/// Whether the bus belongs to one of the three generations of MOST.
bool isMostBus(busid_t id);

/// The number under which the browser knows a channel. `channel` counts from 0, `kslOffset` is the
/// bus's channel offset in the logger network, 0 on the local logger. Looks at the network record's
/// flags; any thread.
unsigned int shownChannel(std::uint8_t channel, std::uint8_t kslOffset);
