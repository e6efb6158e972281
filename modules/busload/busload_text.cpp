#include "modules/busload/busload_text.h"

#include <cstddef>

#include "json/json_pen.h"
#include "modules/busload/bus_vocabulary.h"

namespace klv {

namespace {

/// The fixed parts, the names of bus and unit, five numbers and the quotes, generously.
constexpr std::size_t kFixedRoom = 640;
/// What the buffer keeps: the room of one huge name goes again.
constexpr std::size_t kKeptRoom = std::size_t{64} << 10U;

}  // namespace

std::string_view BusloadText::write(const BusloadData& data,
                                    const std::optional<std::string>& loggerName) {
    const std::size_t room =
        kFixedRoom +
        JsonPen::kRoomPerByte * (data.name.size() + (loggerName ? loggerName->size() : 0));
    if (room > buffer_.size() || (buffer_.size() > kKeptRoom && room <= kKeptRoom)) {
        buffer_ = std::vector<char>(room);
    }
    JsonPen pen(buffer_.data());
    pen.raw("{\n    \"response\": \"busload_data\",\n    \"timestamp\": ");
    pen.number(data.timestamp);
    if (loggerName) {
        pen.raw(",\n    \"logger_name\": ");
        pen.string(*loggerName);
    }
    pen.raw(",\n    \"data\": {\n        \"bus_id\": \"");
    pen.raw(busIdText(data.busId));
    pen.raw("\",\n        \"channel\": ");
    pen.number(shownChannel(data.channel, data.kslOffset));
    pen.raw(",\n        \"ksl_offset\": ");
    pen.number(static_cast<unsigned int>(data.kslOffset));
    pen.raw(",\n        \"name\": ");
    pen.string(data.name);
    pen.raw(",\n        \"unit\": \"");
    pen.raw(busLoadUnitText(data.unit));
    pen.raw("\",\n        \"value\": ");
    pen.number(data.value);
    pen.raw("\n    },\n    \"status\": \"OK\"\n}");
    return pen.text();
}

}  // namespace klv
