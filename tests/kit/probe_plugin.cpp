// A plug-in that does on demand what the echo plug-in never does: it sends from threads, blocks,
// throws, closes, and tells what it saw. A text message is a command with its arguments; what
// happens out of the peer's sight is told on standard error, one line each.

#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/websocket_plugin.h"
#include "tests/kit/hoarded_memory.h"
#include "tests/kit/probe_attempts.h"

namespace {

void note(const std::string& text) {
    const std::string line = "probe: " + text + "\n";
    std::fwrite(line.data(), 1, line.size(), stderr);
}

const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

struct Session {
    const WebSocketServer* server;
    std::atomic<bool> ended{false};
    std::vector<std::thread> threads;
    std::string seen;  // control frames, as "<type>:<payload> "
    std::mutex held;
    HoardedMemory hoard;

    std::size_t say(const std::string& text) {
        return server->send(server, WEBSOCKET_MESSAGE_TEXT, bytes(text), text.size());
    }
};

/// Several threads send as fast as they can; each numbers its frames.
void sendFromThreads(Session& session, std::istream& arguments) {
    int threads = 0;
    int count = 0;
    std::size_t size = 0;
    arguments >> threads >> count >> size;
    for (int t = 0; t < threads; ++t) {
        session.threads.emplace_back([&session, t, count, size] {
            for (int i = 0; i < count && !session.ended; ++i) {
                std::string text = std::to_string(t) + ":" + std::to_string(i) + ":";
                text.resize(std::max(size, text.size()), 'x');
                session.say(text);
            }
        });
    }
}

/// Sends without end, for a peer that does not read.
void flood(Session& session, std::istream& arguments) {
    std::size_t size = 0;
    arguments >> size;
    session.threads.emplace_back([&session, size] {
        const std::string block(size, 'f');
        std::uint64_t sent = 0;
        while (session.server->send(session.server, WEBSOCKET_MESSAGE_BINARY, bytes(block), size) ==
               size) {
            sent += size;
        }
        note("flood ended after " + std::to_string(sent) + " bytes");
    });
}

/// A thread sends much while it holds a lock that on_message waits for.
void sendUnderLock(Session& session, std::istream& arguments) {
    std::size_t size = 0;
    arguments >> size;
    std::mutex mutex;
    std::condition_variable started;
    bool holds = false;
    session.threads.emplace_back([&, size] {
        const std::lock_guard guard(session.held);
        {
            const std::lock_guard lock(mutex);
            holds = true;
            started.notify_one();
        }
        const std::string block(size, 'l');
        session.server->send(session.server, WEBSOCKET_MESSAGE_BINARY, bytes(block), size);
    });
    std::unique_lock lock(mutex);
    started.wait(lock, [&] { return holds; });
    lock.unlock();
    const std::lock_guard guard(session.held);
    session.say("lock taken");
}

/// on_message stands still while another thread goes on sending.
void block(Session& session, std::istream& arguments) {
    int milliseconds = 0;
    arguments >> milliseconds;
    std::atomic<bool> over{false};
    std::thread ticker([&] {
        for (int i = 0; !over; ++i) {
            session.say("tick " + std::to_string(i));
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    over = true;
    ticker.join();
    session.say("block over");
}

void tellMemory(Session& session, std::istream&) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmHWM:", 0) == 0) {
            session.say(line);
        }
    }
}

void sendClose(Session& session, std::istream& arguments) {
    unsigned code = 0;
    std::string reason;
    arguments >> code >> reason;
    std::string payload{static_cast<char>(code >> 8), static_cast<char>(code & 0xFF)};
    payload += reason;
    const auto* server = session.server;
    server->send(server, WEBSOCKET_MESSAGE_CLOSE, bytes(payload), payload.size());
    if (server->send(server, WEBSOCKET_MESSAGE_TEXT, bytes("late"), 4) != 0) {
        note("a frame was taken after the close frame");
    }
}

void sendControl(Session& session, std::istream& arguments) {
    int type = 0;
    std::string payload;
    arguments >> type >> payload;
    const std::size_t sent =
        session.server->send(session.server, type, bytes(payload), payload.size());
    session.say("sent " + std::to_string(sent));
}

void sendBig(Session& session, std::istream& arguments) {
    std::size_t size = 0;
    arguments >> size;
    const std::string block(size, 'b');
    session.server->send(session.server, WEBSOCKET_MESSAGE_BINARY, bytes(block), size);
}

void tellHeader(Session& session, std::istream& arguments) {
    std::string name;
    arguments >> name;
    const char* value = session.server->header_get(session.server, name.c_str());
    session.say(value == nullptr ? "none" : value);
}

using Command = void (*)(Session&, std::istream&);

const std::map<std::string, Command>& commands() {
    static const auto* all = new std::map<std::string, Command>{
        {"threads", sendFromThreads},
        {"flood", flood},
        {"lock", sendUnderLock},
        {"block", block},
        {"memory", tellMemory},
        {"close-frame", sendClose},
        {"control", sendControl},
        {"big", sendBig},
        {"header", tellHeader},
        {"try", [](Session& s, std::istream& words) { s.say(attempt(words)); }},
        {"close", [](Session& s, std::istream&) { s.server->close(s.server); }},
        {"pid", [](Session& s, std::istream&) { s.say(std::to_string(getpid())); }},
        {"seen", [](Session& s, std::istream&) { s.say("seen " + s.seen); }},
        {"throw", [](Session&, std::istream&) { throw std::runtime_error("thrown on demand"); }},
        {"throw-odd", [](Session&, std::istream&) { throw 42; }},
    };
    return *all;
}

void* onConnect(const WebSocketServer* server) {
    server->header_set(server, "X-Probe", "yes");
    for (std::size_t i = 0; i < server->protocol_count(server); ++i) {
        if (std::string("probe") == server->protocol_index(server, i)) {
            server->protocol_set(server, "probe");
        }
    }
    auto* session = new Session;
    session->server = server;
    return session;
}

std::size_t onMessage(void* state, const WebSocketServer*, int type, unsigned char* buffer,
                      std::size_t size) {
    auto& session = *static_cast<Session*>(state);
    if (buffer[size] != 0) {
        note("no zero byte behind a message");
    }
    const std::string payload(reinterpret_cast<char*>(buffer), size);
    if (type == WEBSOCKET_MESSAGE_CLOSE) {
        note("close frame of " + std::to_string(size) + " bytes");
    } else if (type == WEBSOCKET_MESSAGE_PING || type == WEBSOCKET_MESSAGE_PONG) {
        session.seen += std::to_string(type) + ":" + payload + " ";
    } else if (type == WEBSOCKET_MESSAGE_TEXT) {
        std::istringstream words(payload);
        std::string name;
        words >> name;
        const auto command = commands().find(name);
        if (command != commands().end()) {
            command->second(session, words);
        }
    }
    return 0;
}

void onDisconnect(void* state, const WebSocketServer*) {
    auto* session = static_cast<Session*>(state);
    session->hoard.giveBack();
    session->ended = true;
    for (std::thread& thread : session->threads) {
        thread.join();
    }
    if (session->say("late") != 0) {
        note("a frame was taken after the end");
    }
    delete session;
    note("disconnected");
}

/// Sends before the handshake has been answered: from its own thread and from another.
void* onConnectGreeting(const WebSocketServer* server) {
    auto* session = static_cast<Session*>(onConnect(server));
    std::thread([session] { session->say("from a thread"); }).join();
    session->say("from on_connect");
    return session;
}

/// Sends more than any queue holds while the handshake is not answered yet.
void* onConnectVerbose(const WebSocketServer* server) {
    auto* session = static_cast<Session*>(onConnect(server));
    const std::string block(300'000, 'v');
    for (int i = 0; i < 10; ++i) {
        session->say(block);
    }
    return session;
}

/// Has a large answer to the handshake, and leaves no memory to put it together.
void* onConnectHoarding(const WebSocketServer* server) {
    auto* session = static_cast<Session*>(onConnect(server));
    server->header_set(server, "X-Large", std::string(1'000'000, 'x').c_str());
    session->hoard.takeAll();
    return session;
}

void* onConnectThrowing(const WebSocketServer*) {
    throw std::runtime_error("no session today");
}
void* onConnectRefusing(const WebSocketServer*) {
    return nullptr;
}

/// Tries what a plug-in may not do to the answer.
void* onConnectMeddling(const WebSocketServer* server) {
    server->header_set(server, "Upgrade", "h2c");
    server->header_set(server, "X-Split", "a\r\nX-Injected: b");
    server->protocol_set(server, "never-offered");
    return onConnect(server);
}

constexpr WebSocketPlugin makePlugin(void* (*connect)(const WebSocketServer*)) {
    return {sizeof(WebSocketPlugin),
            WEBSOCKET_PLUGIN_VERSION,
            [](WebSocketPlugin*) {},
            connect,
            onMessage,
            onDisconnect};
}

WebSocketPlugin probe = makePlugin(onConnect);
WebSocketPlugin greeting = makePlugin(onConnectGreeting);
WebSocketPlugin verbose = makePlugin(onConnectVerbose);
WebSocketPlugin hoarding = makePlugin(onConnectHoarding);
WebSocketPlugin throwing = makePlugin(onConnectThrowing);
WebSocketPlugin refusing = makePlugin(onConnectRefusing);
WebSocketPlugin meddling = makePlugin(onConnectMeddling);
WebSocketPlugin newer = {sizeof(WebSocketPlugin), 7, nullptr, onConnect, onMessage, onDisconnect};
WebSocketPlugin truncated = {8, 0, nullptr, onConnect, onMessage, onDisconnect};
WebSocketPlugin mute = {sizeof(WebSocketPlugin), 0, nullptr, onConnect, nullptr, nullptr};

}  // namespace

#define PLUGIN_EXPORT extern "C" __attribute__((visibility("default"))) WebSocketPlugin*

PLUGIN_EXPORT probe_init() {
    return &probe;
}
PLUGIN_EXPORT greeting_init() {
    return &greeting;
}
PLUGIN_EXPORT verbose_init() {
    return &verbose;
}
PLUGIN_EXPORT hoarding_init() {
    return &hoarding;
}
PLUGIN_EXPORT throwing_init() {
    return &throwing;
}
PLUGIN_EXPORT refusing_init() {
    return &refusing;
}
PLUGIN_EXPORT meddling_init() {
    return &meddling;
}
PLUGIN_EXPORT newer_init() {
    return &newer;
}
PLUGIN_EXPORT truncated_init() {
    return &truncated;
}
PLUGIN_EXPORT mute_init() {
    return &mute;
}
PLUGIN_EXPORT null_init() {
    return nullptr;
}
PLUGIN_EXPORT failing_init() {
    throw std::runtime_error("cannot start");
}
