// Requests and answers: the messages that ask a participant for something and come back.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "krpbus/messages/byte_reader.h"
#include "krpbus/messages/byte_writer.h"
#include "krpbus/messages/message_base.h"

/// What is asked for; an answer carries the id of its request.
using krpMsgID_t = std::uint16_t;

/// The base of requests and answers.
class KRPMessageBase : public MessageBase {
  public:
    static constexpr messageID_t kMessageID = 0xF000;

    /// The byte behind the source channel: which of the two this is.
    enum kind_t : std::uint8_t { KRPKIND_REQUEST = 1, KRPKIND_RESPONSE = 2 };

    krpMsgID_t getKrpMsgID() const { return krpMsgID; }

    krpMsgID_t krpMsgID;

  protected:
    explicit KRPMessageBase(krpMsgID_t id) : MessageBase(kMessageID, 0), krpMsgID(id) {}
    KRPMessageBase(const KRPMessageBase&) = default;
    KRPMessageBase& operator=(const KRPMessageBase&) = default;
};

/// A request: its id and the bytes of its parameters.
class KRPMessageRequest : public KRPMessageBase {
  public:
    /// Class, source channel, kind, id, zero word, count and the payload's length.
    static constexpr unsigned int kHeaderSize = 13;

    explicit KRPMessageRequest(krpMsgID_t id, std::string requestName = "NotSet")
        : KRPMessageBase(id), name(std::move(requestName)) {}

    std::unique_ptr<MessageBase> clone() const override;
    unsigned int getSize() const override;
    void print(std::ostream& out) const override;

    /// Fixed by the protocol: always false, so that no two requests are taken for the same one.
    bool operator==(const KRPMessageRequest&) const { return false; }

    std::vector<std::uint8_t> payload;  // the parameters, encoded
    std::uint16_t word = 0;             // always 0
    std::string name;                   // for this process only; not part of the bytes
    std::uint8_t count = 1;             // always 1

  protected:
    void encodeBody(ByteWriter& writer) const override;
};

/// The error code of an answer; the values without a name are valid, too.
enum class errorCode_t : std::uint8_t {
    None = 0,
    UnknownRequest = 1,
    InvalidParameter = 2,
    NotAllowed = 3,
    NotFound = 4,
    Timeout = 5,
    NoResources = 6,
    Busy = 7,
    Internal = 8,
};

/// A stable text per code: "KRPERROR_BUSY"; "KRPERROR_42" for a code without a name.
std::ostream& operator<<(std::ostream& out, errorCode_t code);

/// An answer: how the request went and, in the derived classes, what was asked for. An answer with
/// another status than OK carries no result: the result's fields then have their initial values.
class KRPMessageResponse : public KRPMessageBase {
  public:
    static constexpr std::uint8_t KRPSTATUS_OK = 0;
    static constexpr std::uint8_t KRPSTATUS_PROGRESS = 1;
    static constexpr std::uint8_t KRPSTATUS_ERROR = 2;
    static constexpr std::uint8_t KRPSTATUS_NOTAVAILABLE = 3;

    std::uint8_t getStatus() const { return status; }
    /// The first error-code byte; errorCode_t::None when there is none.
    errorCode_t getErrorCode() const {
        return errorCode.empty() ? errorCode_t::None : static_cast<errorCode_t>(errorCode.front());
    }
    const std::string& getErrorDescription() const { return errorDescription; }
    /// The logger's bus is busy and wants to be asked again: status error, first error-code byte 7.
    bool isBusy() const { return status == KRPSTATUS_ERROR && getErrorCode() == errorCode_t::Busy; }
    /// Makes this a failed answer; for the answering side.
    void setError(std::uint8_t newStatus, errorCode_t code, std::string description = {});

    void print(std::ostream& out) const override;

    std::uint8_t status = KRPSTATUS_OK;
    std::vector<std::uint8_t> errorCode;  // may be empty
    std::string errorDescription;         // may be empty

    /// Reads the result that decode() has found behind the answer's head. Fails the reader when it
    /// is not of this answer's shape.
    virtual void decodeResult(ByteReader& reader) = 0;

  protected:
    explicit KRPMessageResponse(krpMsgID_t id) : KRPMessageBase(id) {}
    KRPMessageResponse(const KRPMessageResponse&) = default;
    KRPMessageResponse& operator=(const KRPMessageResponse&) = default;

    void encodeBody(ByteWriter& writer) const override;
    /// Appends the result's fields; called for an answer with status OK only.
    virtual void encodeResult(ByteWriter& writer) const = 0;
    /// Prints the result's fields as " [name=value]" each.
    virtual void printResult(std::ostream& out) const = 0;
};
