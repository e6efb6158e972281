// The way of one bus figure from the bytes of the bus to the text for the browser, on fixed inputs,
// for what measures it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/path/counting_session.h"

/// A session whose browser counts what it is sent, a catalogue of 64 buses on each of four loggers,
/// and figures of them. No figure equals the one before it of the same bus. One at a time.
class BusFigurePath {
  public:
    BusFigurePath();

    /// Decodes the next figure's bytes, stores it and sends its text.
    void pass();
    /// Decodes and looks at one figure that is as large as the one before it.
    void passUnchanged();
    /// Decodes the next figure's bytes and writes the same text by hand: no catalogue, no record of
    /// the network, no look at what the strings hold. Returns its size.
    std::size_t writeByHand(char* out);

    std::size_t bytesSent() const { return session_.bytesSent(); }
    /// Whether both ways give the same texts.
    bool textsAgree();

  private:
    struct Input {
        std::vector<std::uint8_t> bytes;
        std::string logger;
        std::string loggerName;
        std::string name;
        unsigned int channel;
    };

    void makeInputs();
    const Input& next();

    CountingSession session_;
    std::vector<Input> inputs_;
    std::size_t at_ = 0;
};
