// Capturing what a program writes to its standard output and standard error.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

/// From its construction on, file descriptors 1 and 2 lead into files that can be read at any time,
/// by whichever way and thread they are written. When a test has failed meanwhile, the destructor
/// copies all of it to the real standard error, the test's own messages among it. One at a time.
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Everything written so far, byte for byte.
    std::string standardOutput() const;
    std::string standardError() const;

    /// The whole lines so far that are lines of the log, that is those that hold "KLV::": of
    /// standard output, then of standard error. With `function`, only those of that function.
    std::vector<std::string> logLines(std::string_view function = {}) const;

    /// Whether this line (without its end) is or comes to be among the log lines within `timeout`.
    bool waitForLine(std::string_view line,
                     std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

    /// Forgets what has been written so far.
    void clear();

  private:
    struct Stream {
        int descriptor;  // 1 or 2
        int original;    // where it led before
        int file;        // where it leads now
        long start;      // what lies before has been cleared
    };
    static Stream divert(int descriptor);
    static void restore(const Stream& stream, bool show);
    static std::string read(const Stream& stream);

    Stream output_;
    Stream error_;
};
