// What it takes to get a file of 30 MB from a browser to the upload directory, against the way
// through the websocket module alone and against `cp`; how much memory the browser's process needs
// for it; and a configuration of 1 MB saved and loaded, against a file written and read.
// audio_upload.mjs starts all that it needs.
//
//   file_upload <port> <process id of the web server> <rounds> <configuration directory>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "packaging/probe/websocket_stream.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kFileSize = 30'000'000;
constexpr std::size_t kConfigSize = 1'000'000;
constexpr int kPatience = 30'000;  // ms

double seconds(const std::function<void()>& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void print(const char* what, const std::vector<double>& values) {
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    std::printf("%-42s median %7.2f ms, %.2f to %.2f\n", what, 1e3 * median(values), 1e3 * *least,
                1e3 * *most);
}

/// The next frame that holds both texts.
std::string waitFor(WebSocketStream& stream, std::string_view response,
                    std::string_view text = {}) {
    std::string found;
    const auto deadline = Clock::now() + std::chrono::milliseconds(kPatience);
    while (found.empty()) {
        const bool open = stream.read(100, [&](unsigned int, std::string_view payload) {
            if (payload.substr(0, 80).find(response) != std::string_view::npos &&
                (text.empty() || payload.find(text) != std::string_view::npos)) {
                found = payload;
            }
        });
        if (!open || Clock::now() > deadline) {
            throw std::runtime_error("no answer " + std::string(response));
        }
    }
    return found;
}

void makeReady(WebSocketStream& stream) {
    do {
        stream.sendText(R"({"command":"get_logger_info"})");
    } while (waitFor(stream, "\"get_logger_info\"").find("\"OK\"") == std::string::npos);
}

/// A number of a process's status, in bytes.
std::size_t statusOf(const std::string& process, const std::string& name) {
    std::ifstream status("/proc/" + process + "/status");
    for (std::string word; status >> word;) {
        std::size_t kilobytes = 0;
        if (word == name + ":" && status >> kilobytes) {
            return kilobytes * 1024;
        }
    }
    throw std::runtime_error("no " + name + " of process " + process);
}

bool hasSession(const std::string& process) {
    std::error_code gone;
    for (const auto& task : fs::directory_iterator("/proc/" + process + "/task", gone)) {
        std::string name;
        std::ifstream(task.path() / "comm") >> name;
        if (name.starts_with("krpbus_")) {
            return true;
        }
    }
    return false;
}

/// The child of the web server that serves the one browser; those of earlier ones end first.
std::string sessionProcess(const std::string& server) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(kPatience);
    while (Clock::now() < deadline) {
        std::vector<std::string> sessions;
        std::ifstream children("/proc/" + server + "/task/" + server + "/children");
        for (std::string child; children >> child;) {
            if (hasSession(child)) {
                sessions.push_back(child);
            }
        }
        if (sessions.size() == 1) {
            return sessions.front();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    throw std::runtime_error("the browser's process is not to be found");
}

class Product {
  public:
    Product(std::uint16_t port, const std::string& frame)
        : stream_(port, "/live", "kr-webapp-v1"), frame_(frame) {
        makeReady(stream_);
    }

    WebSocketStream& stream() { return stream_; }

    /// Until the file is whole: the frame behind the data is answered then.
    double upload() {
        stream_.sendText(
            R"({"command":"upload_audio_file","name":"n","file_extension":"bench","marker_id":"m","start_time":1,"end_time":2})");
        waitFor(stream_, "\"upload_audio_file\"", "WAITING_FOR_DATA");
        const double taken = seconds([this] {
            stream_.sendFrame(frame_);
            stream_.sendText(R"({"command":"ping"})");
            waitFor(stream_, "\"ping\"");
        });
        stream_.sendText(R"({"command":"cancel_data_upload"})");
        waitFor(stream_, "\"cancel_data_upload\"", "error_msg");
        removeUpload();
        return taken;
    }

    const fs::path& sample() const { return sample_; }

  private:
    /// Keeps the first one for cp.
    void removeUpload() {
        std::vector<fs::path> uploads;
        for (const auto& entry : fs::directory_iterator("/tmp")) {
            if (entry.path().extension() == ".bench" && entry.path() != sample_) {
                uploads.push_back(entry.path());
            }
        }
        if (uploads.size() != 1 || fs::file_size(uploads.front()) != kFileSize) {
            throw std::runtime_error("the file is not there as a whole");
        }
        if (sample_.empty()) {
            sample_ = "/tmp/sample.bench";
            fs::copy_file(uploads.front(), sample_);
        }
        fs::remove(uploads.front());
    }

    WebSocketStream stream_;
    const std::string& frame_;
    fs::path sample_;
};

/// Until the plug-in, which sends it back, has the frame: the first byte of the echo is there then.
double echo(WebSocketStream& stream, const std::string& frame) {
    const double taken = seconds([&] {
        stream.sendFrame(frame);
        if (!stream.hasAnswer(kPatience)) {
            throw std::runtime_error("no echo");
        }
    });
    bool whole = false;
    while (!whole && stream.read(kPatience, [&](unsigned int, std::string_view payload) {
        whole = payload.size() == kFileSize;
    })) {
    }
    return taken;
}

double copyByCp(const fs::path& sample) {
    const double taken = seconds([&] {
        if (std::system(("exec cp " + sample.string() + " /tmp/copy.bench").c_str()) != 0) {
            throw std::runtime_error("cp failed");
        }
    });
    fs::remove("/tmp/copy.bench");
    return taken;
}

void measureUploads(std::uint16_t port, const std::string& server, int rounds) {
    const std::string data = [] {
        std::string bytes(kFileSize, '\0');
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<char>(i * 2654435761U >> 24U);
        }
        return bytes;
    }();
    const std::string frame = WebSocketStream::makeFrame(2, data);
    Product product(port, frame);
    const std::string process = sessionProcess(server);
    const std::size_t idle = statusOf(process, "VmRSS");
    product.upload();
    const std::size_t peak = statusOf(process, "VmHWM");
    std::printf(
        "memory of the browser's process: %.1f MB idle, %.1f MB at most: %.2f times the file "
        "more\n",
        static_cast<double>(idle) / 1e6, static_cast<double>(peak) / 1e6,
        static_cast<double>(peak - idle) / static_cast<double>(kFileSize));

    WebSocketStream echoStream(port, "/echo", "kr-webapp-v1");
    std::vector<double> uploads, echoes, copies;
    for (int round = 0; round < rounds; ++round) {
        uploads.push_back(product.upload());
        echoes.push_back(echo(echoStream, frame));
        copies.push_back(copyByCp(product.sample()));
    }
    print("30 MB from the browser to the file", uploads);
    print("30 MB to a plug-in that only gets them", echoes);
    print("30 MB by cp", copies);
    const auto fastest = [](const std::vector<double>& values) {
        return *std::min_element(values.begin(), values.end());
    };
    std::printf("upload / plug-in that only gets them: %.2f, the fastest of each: %.2f\n",
                median(uploads) / median(echoes), fastest(uploads) / fastest(echoes));
    std::printf("upload / cp: %.2f, the fastest of each: %.2f\n", median(uploads) / median(copies),
                fastest(uploads) / fastest(copies));
    fs::remove(product.sample());
}

void writeFile(const fs::path& file, const std::string& text) {
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const bool good =
        fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    if (close(fd) != 0 || !good) {
        throw std::runtime_error("the file cannot be written");
    }
}

std::size_t readFile(const fs::path& file) {
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    std::string text(kConfigSize, '\0');
    const ssize_t got = read(fd, text.data(), text.size());
    close(fd);
    return got < 0 ? 0 : static_cast<std::size_t>(got);
}

void measureConfigurations(std::uint16_t port, int rounds, const fs::path& directory) {
    std::string text;
    while (text.size() < kConfigSize) {
        text +=
            "a line of a configuration without anything to escape, " + std::to_string(text.size());
    }
    text.resize(kConfigSize);
    WebSocketStream stream(port, "/live", "kr-webapp-v1");
    makeReady(stream);
    const std::string save = WebSocketStream::makeFrame(
        1, R"({"command":"save_config","name":"bench","config":")" + text + "\"}");
    std::vector<double> saves, loads, writes, reads;
    for (int round = 0; round < rounds; ++round) {
        saves.push_back(seconds([&] {
            stream.sendFrame(save);
            waitFor(stream, "\"save_config\"", "\"OK\"");
        }));
        loads.push_back(seconds([&] {
            stream.sendText(R"({"command":"load_config","name":"bench"})");
            waitFor(stream, "\"load_config\"");
        }));
        reads.push_back(seconds([&] {
            if (readFile(directory / "bench") != kConfigSize) {
                throw std::runtime_error("the configuration is not there as a whole");
            }
        }));
        writes.push_back(seconds([&] { writeFile("/tmp/plain.bench", text); }));
    }
    fs::remove("/tmp/plain.bench");
    print("configuration of 1 MB saved", saves);
    print("file of 1 MB written", writes);
    print("configuration of 1 MB loaded", loads);
    print("file of 1 MB read", reads);
    std::printf("saved / written: %.1f; loaded / read: %.1f\n", median(saves) / median(writes),
                median(loads) / median(reads));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: %s <port> <process id> <rounds> <directory>\n", argv[0]);
        return 2;
    }
    try {
        const auto port = static_cast<std::uint16_t>(std::atoi(argv[1]));
        measureUploads(port, argv[2], std::atoi(argv[3]));
        measureConfigurations(port, std::atoi(argv[3]), argv[4]);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
    return 0;
}
