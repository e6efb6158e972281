// A load figure of a bus.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>

#include "krpbus/messages/bus_id.h"
#include "krpbus/messages/message_base.h"

class BusLoadExtMessage : public MessageBase {
  public:
    static constexpr messageID_t kMessageID = 0x8020;

    /// Any other value is valid on the bus, too, and counts as none.
    enum unit_t : std::uint8_t {
        UNIT_NONE = 0,
        UNIT_PERCENT = 1,
        UNIT_BYTES_SEC = 2,
        UNIT_KBYTES_SEC = 3,
        UNIT_MBYTES_SEC = 4,
        UNIT_GBYTES_SEC = 5,
        UNIT_FRAMES_SEC = 6,
        UNIT_KFRAMES_SEC = 7,
        UNIT_BYTES = 8,
        UNIT_KBYTES = 9,
        UNIT_MBYTES = 10,
        UNIT_GBYTES = 11,
    };

    /// Lock of a MOST ring, or of its timing master. Any other value counts as unknown.
    enum mostLock_t : std::uint8_t { MOSTLOCK_UNKNOWN = 0, MOSTLOCK_LOCK = 1, MOSTLOCK_UNLOCK = 2 };

    /// What a MOST bus reports beside the load.
    struct most_t {
        std::uint8_t busStatus = 0;  // as the interface reports it
        mostLock_t lock = MOSTLOCK_UNKNOWN;
        mostLock_t masterLock = MOSTLOCK_UNKNOWN;
        bool traffic = false;
        std::uint32_t numControlMsg = 0;
        std::uint32_t bytesControlMsg = 0;
        std::uint32_t numMdpMsg = 0;
        std::uint32_t bytesMdpMsg = 0;
        std::uint32_t numMepMsg = 0;
        std::uint32_t bytesMepMsg = 0;
        std::uint32_t numStreamingCh = 0;
        std::uint32_t streamingChSize = 0;

        bool operator==(const most_t&) const = default;
    };

    /// Special load values: no figure is known, and the loggers' own marker.
    static constexpr std::int32_t kUnknown = -4;
    static constexpr std::int32_t kMarker = -2;

    BusLoadExtMessage() : MessageBase(kMessageID) {}

    std::unique_ptr<MessageBase> clone() const override;
    void print(std::ostream& out) const override;
    /// Reads what encodeBody() wrote; fails the reader where that is not possible.
    static std::unique_ptr<MessageBase> decodeBody(ByteReader& reader);

    busid_t busId = BUSID_UNKNOWN;
    std::uint8_t channel = 0;     // counted from 0
    std::uint8_t kslOffset = 0;   // channel offset in the logger network; 0: the local logger
    std::int32_t value = 0;       // in `unit`, or one of the special values
    std::uint64_t timestamp = 0;  // microseconds since 1970 UTC
    unit_t unit = UNIT_NONE;
    std::optional<most_t> most;  // set for the MOST buses

  protected:
    void encodeBody(ByteWriter& writer) const override;
};

/// "UNIT_PERCENT" and so on; "UNIT_NONE" for every number without a text of its own.
const char* busLoadUnitText(BusLoadExtMessage::unit_t unit);
std::ostream& operator<<(std::ostream& out, BusLoadExtMessage::unit_t unit);
