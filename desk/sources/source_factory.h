// Makes what a logger's data come from.
#pragma once

#include <memory>
#include <optional>

#include "desk/sources/bus_source.h"
#include "desk/sources/signal_source.h"
#include "desk/sources/source.h"

namespace desk {

/// The signals of what the logger stands for. `rate` is the one that was asked for.
std::unique_ptr<SignalSource> makeSignalSource(const Source& source, std::optional<double> rate);
/// How many values of them are to be read in a second; nothing: as the source has them. Those of a
/// vehicle keep the rate themselves, since they come when their frames do.
std::optional<double> readingRate(const Source& source, std::optional<double> rate);

/// The buses of what the logger stands for.
std::unique_ptr<BusSource> makeBusSource(const Source& source);

}  // namespace desk
