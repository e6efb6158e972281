// What all messages of the bus have in common.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <utility>

class ByteReader;
class ByteWriter;

/// The message's class, its first two bytes on the bus.
using messageID_t = std::uint16_t;

/// A message. The bytes of one are its class (2), its source channel (1) and what the derived class
/// adds; docs/bus.md has the layouts. Objects are used by one thread at a time.
class MessageBase {
  public:
    explicit MessageBase(messageID_t messageID, std::uint8_t sourceChannel = 0)
        : messageID_(messageID), sourceChannel_(sourceChannel) {}
    virtual ~MessageBase() = default;

    messageID_t getMessageID() const { return messageID_; }
    std::uint8_t getSourceChannel() const { return sourceChannel_; }

    /// Who sent the message, as an address that sendTo() takes: a participant's name on the own
    /// logger, a forwarding address for one on another logger, empty when the sender named none.
    /// Set by the client that received it; not part of the bytes.
    const std::string& getSource() const { return source_; }
    void setSource(std::string source) { source_ = std::move(source); }
    /// The participant, or the bus, that the message came in for; empty for what went to everybody.
    /// Set by the client that received it; not part of the bytes.
    const std::string& getDestination() const { return destination_; }
    void setDestination(std::string destination) { destination_ = std::move(destination); }

    /// Whether who asks for live data with this message listens where a logger sends that once for
    /// all, so that it need not be sent to the asker alone. Set by the asker, and by the client
    /// that received it; said beside the bytes.
    bool takesShared() const { return takesShared_; }
    void setTakesShared(bool takes) { takesShared_ = takes; }

    /// A deep copy, sender and destination included.
    virtual std::unique_ptr<MessageBase> clone() const = 0;

    /// The number of bytes that writeToByteArray() writes.
    virtual unsigned int getSize() const;

    /// Writes the message's bytes. With `allocate`, `buffer` is set to a new[] array of getSize()
    /// bytes that the caller owns, and `size` is not looked at. Otherwise the bytes go to `buffer`,
    /// which has room for `size`, and `buffer` is moved behind them. Returns the number of bytes
    /// written; 0, with nothing written, when the room is too small.
    unsigned int writeToByteArray(unsigned char*& buffer, unsigned int size, bool allocate) const;

    /// Appends the message's bytes.
    void encode(ByteWriter& writer) const;

    /// One line for the log: the message's name and its fields, without an end of line.
    virtual void print(std::ostream& out) const = 0;
    std::string toString() const;

    /// Makes all message types known to the decoder. Once per process is enough; calling it again,
    /// from any thread, is harmless.
    static void registerMessages();

    /// The message that the bytes hold; null when they are malformed, truncated, too long or of no
    /// known type. Never throws on account of the bytes. Any thread.
    static std::unique_ptr<MessageBase> decode(std::span<const std::uint8_t> bytes);
    /// The same for a message inside another one.
    static std::unique_ptr<MessageBase> decode(ByteReader& reader);

  protected:
    MessageBase(const MessageBase&) = default;
    MessageBase& operator=(const MessageBase&) = default;

    /// Appends what follows the class and the source channel.
    virtual void encodeBody(ByteWriter& writer) const = 0;

  private:
    messageID_t messageID_;
    std::uint8_t sourceChannel_;
    bool takesShared_ = false;
    std::string source_;
    std::string destination_;
};

/// Writes what print() writes.
std::ostream& operator<<(std::ostream& out, const MessageBase& message);
