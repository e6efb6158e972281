// The way of one signal value from the bytes of the bus to the text for the browser, on fixed
// inputs, for what measures it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/path/counting_session.h"

/// A session whose browser counts what it is sent, a catalogue of started signals of two loggers
/// (numbers and texts, half of them with a description and a value-description table), and values
/// of them. One at a time.
class SignalValuePath {
  public:
    SignalValuePath();

    /// Decodes the next value's bytes, stores it and sends its text.
    void pass();
    /// The same, for what is done once only; not counted as pass().
    void warmUp();
    /// Writes the same text by hand: no bus, no decoding, no catalogue, no care for UTF-8, only
    /// what no writer of JSON can do without. Returns its size.
    std::size_t writeByHand(char* out);

    std::size_t bytesSent() const { return session_.bytesSent(); }
    /// Whether both ways give the same texts.
    bool textsAgree();

  private:
    struct Input {
        std::vector<std::uint8_t> bytes;
        std::string logger;
        std::string name;
        std::string value;
        std::string descr;
        std::uint64_t timestamp;
        unsigned int kslOffset;
        bool isNumber;
    };
    const Input& next();

    CountingSession session_;
    std::vector<Input> inputs_;
    std::size_t at_ = 0;
};
