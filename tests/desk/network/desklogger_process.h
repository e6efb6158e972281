// The real desk logger program, run by a test.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "tests/kit/nats_server.h"

// A running program from construction to destruction; it is killed then, and also when the test
// dies. Its environment names the test's bus server and nothing else that it would look at.
class DeskLoggerProcess {
  public:
    DeskLoggerProcess(const std::string& busServer, const std::vector<std::string>& arguments);
    ~DeskLoggerProcess();
    DeskLoggerProcess(const DeskLoggerProcess&) = delete;
    DeskLoggerProcess& operator=(const DeskLoggerProcess&) = delete;

    // What it has written to standard output and standard error so far.
    std::string output() const;
    // How many of the lines so far hold the text.
    int countLines(const std::string& text) const;
    // Whether the text is, or comes to be, part of the output.
    bool waitForOutput(const std::string& text) const;

    void signal(int number);
    // Writes to its standard input.
    void type(const std::string& text);
    void endInput();

    // The exit code, or the number of the signal that ended it as a negative number; nothing when
    // it has not ended in time.
    std::optional<int> waitForExit();
    bool isRunning();

  private:
    bool hasEnded();

    pid_t process_ = -1;
    int status_ = 0;
    int input_ = -1;
    std::string outputFile_;
};
