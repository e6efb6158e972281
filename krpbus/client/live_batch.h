// Several messages of live data in one publication.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "krpbus/client/received.h"
#include "krpbus/messages/byte_writer.h"

namespace krpbus {

/// The header by which the sender of a "75-LVStartBusload" or "77-LVStartSignals" says that it
/// listens where a logger sends live data once for all; its value is "shared".
inline constexpr const char* kLiveHeader = "Krp-Live";
inline constexpr const char* kLiveShared = "shared";

/// Begins a payload for the sessions of these loggers, in an empty buffer.
void beginBatch(ByteWriter& batch, std::span<const std::string> loggers);
/// Appends a message's bytes.
void addToBatch(ByteWriter& batch, std::span<const std::uint8_t> message);

/// Appends the messages of a payload to `parts`, in their order, each as if it had come alone;
/// none when the payload is not for sessions of the logger `mac`. False, with `parts` as they were,
/// when it is none of those that addToBatch() makes.
bool splitBatch(const Received& batch, std::string_view mac, std::vector<Received>& parts);

}  // namespace krpbus
