// Feeds the reader of CAN databases with anything, and decodes frames with what it makes of it.
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "desk/dbc/decoder.h"
#include "desk/dbc/reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::array<std::uint8_t, 64> bytes{};
    for (std::size_t i = 0; i < bytes.size() && i < size; ++i) {
        bytes[i] = data[size - 1 - i];
    }
    try {
        const dbc::Database database =
            dbc::readDatabase({reinterpret_cast<const char*>(data), size});
        std::vector<dbc::RawValue> values;
        for (const dbc::Message& message : database.messages) {
            const dbc::Decoder decoder(message);
            for (const std::size_t length : {std::size_t{0}, std::size_t{8}, bytes.size()}) {
                values.clear();
                decoder.decode(std::span(bytes).first(length), values);
                for (const dbc::RawValue& value : values) {
                    const dbc::Signal& signal = message.signals[value.signal];
                    dbc::physicalText(signal, value.raw);
                    dbc::rawValue(signal, dbc::physicalValue(signal, value.raw));
                }
            }
            for (const dbc::Signal& signal : message.signals) {
                dbc::longValueText(signal, bytes);
            }
        }
    } catch (const std::invalid_argument&) {
        return 0;  // no database at all
    }
    return 0;
}
