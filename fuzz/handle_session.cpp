// Feeds a whole session with what browsers and the bus send, one after the other. An input is a row
// of events: a byte that says what comes, two bytes of its length (the high one first), and its
// bytes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/session.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto* const session = new FuzzSession;
    session->begin(size % 8 != 0);  // mostly with the logger info
    while (size >= 3) {
        const unsigned kind = data[0] % 6U;
        const std::size_t length = std::min<std::size_t>(data[1] * 256U + data[2], size - 3);
        const std::string_view text(reinterpret_cast<const char*>(data) + 3, length);
        switch (kind) {
            case 0:
            case 1:
                session->text(text);
                break;
            case 2:
                session->binary(text);
                break;
            case 3:
                session->setLoggerInfo(length % 2 == 0);
                if (length % 4 == 3) {
                    session->busReconnected();
                }
                break;
            default:
                session->busMessage({data + 3, length});
                break;
        }
        data += 3 + length;
        size -= 3 + length;
    }
    session->end();
    return 0;
}
