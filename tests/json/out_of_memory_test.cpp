// Answers that there is no memory for.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "json/json_text.h"
#include "json/simple_response.h"
#include "json/wa_response_message.h"
#include "tests/kit/log_capture.h"
#include "tests/kit/worker_session.h"

namespace {

thread_local std::size_t refusedSize = 0;
thread_local std::size_t refusedFrom = 0;

bool isRefused(std::size_t size) {
    return size != 0 && (size == refusedSize || (refusedFrom != 0 && size >= refusedFrom));
}

// Has the next text of this length find no room.
class NoRoom {
  public:
    explicit NoRoom(const std::string& text) { refusedSize = text.size() + 1; }
    ~NoRoom() { refusedSize = 0; }
    NoRoom(const NoRoom&) = delete;
    NoRoom& operator=(const NoRoom&) = delete;
};

// Refuses whatever is larger.
class NoMemoryFrom {
  public:
    explicit NoMemoryFrom(std::size_t size) { refusedFrom = size; }
    ~NoMemoryFrom() { refusedFrom = 0; }
    NoMemoryFrom(const NoMemoryFrom&) = delete;
    NoMemoryFrom& operator=(const NoMemoryFrom&) = delete;
};

// An answer that is only there to be sent.
class Answer : public WaResponseMessage {
  public:
    Answer() { addText("response", "get_configs"); }
};

const std::string kAnswer = "{\n    \"response\": \"get_configs\"\n}";
const std::string kSimple = "{\n    \"response\": \"get_configs\",\n    \"status\": \"OK\"\n}";
const std::string kGeneric =
    "{\n    \"response\": \"get_configs\",\n    \"signal_key\": [\n        \"a\",\n        \"b\"\n"
    "    ],\n    \"interval\": 1,\n    \"status\": \"OK\"\n}";

std::string cannotWrite(const std::string& text) {
    return "[ERROR] KLV::dom_to_json() failed to write webapp buffer: " + text + "\n";
}

}  // namespace

// The library's malloc goes through here.
extern "C" void* realMalloc(std::size_t size) __asm__("__real_malloc");
extern "C" void* wrappedMalloc(std::size_t size) __asm__("__wrap_malloc");
extern "C" void* realRealloc(void* memory, std::size_t size) __asm__("__real_realloc");
extern "C" void* wrappedRealloc(void* memory, std::size_t size) __asm__("__wrap_realloc");

void* wrappedMalloc(std::size_t size) {
    return isRefused(size) ? nullptr : realMalloc(size);
}

void* wrappedRealloc(void* memory, std::size_t size) {
    return isRefused(size) ? nullptr : realRealloc(memory, size);
}

TEST(OutOfMemory, DomToJsonLogsTheTextThatItCannotKeep) {
    Document doc;
    doc.Parse(R"({"response":"get_configs"})");
    const LogCapture capture;
    const NoRoom noRoom(kAnswer);
    EXPECT_EQ(dom_to_json(&doc), nullptr);
    EXPECT_EQ(capture.standardOutput(), cannotWrite(kAnswer));
}

TEST(OutOfMemory, DomToStringIsEmpty) {
    Document doc;
    doc.Parse(R"({"response":"get_configs"})");
    const LogCapture capture;
    const NoRoom noRoom(kAnswer);
    EXPECT_EQ(dom_to_string(&doc), "");
    EXPECT_EQ(capture.standardOutput(),
              cannotWrite(kAnswer) + "[DEBUG] KLV::dom_to_string() json_str: \n");
}

TEST(OutOfMemory, SimpleResponseIsNotSent) {
    WorkerSession session;
    const LogCapture capture;
    const NoRoom noRoom(kSimple);
    createAndSendJSON_simple("get_configs", KR_STATE_OK, KR_ERROR_TODO, "");
    EXPECT_TRUE(session.host.frames().empty());
    EXPECT_EQ(capture.standardOutput(),
              cannotWrite(kSimple) + "[ERROR] KLV::createAndSendJSON_simple() Buffer is empty\n");
}

TEST(OutOfMemory, SimpleResponseIsNoAnswerToSendEvenWithoutASession) {
    const LogCapture capture;
    const NoRoom noRoom(kSimple);
    createAndSendJSON_simple("get_configs", KR_STATE_OK, KR_ERROR_TODO, "");
    EXPECT_EQ(capture.standardOutput(),
              cannotWrite(kSimple) + "[ERROR] KLV::createAndSendJSON_simple() Buffer is empty\n");
}

TEST(OutOfMemory, GenericResponseIsNotSent) {
    WorkerSession session;
    const LogCapture capture;
    const NoRoom noRoom(kGeneric);
    createAndSendJSON_generic("get_configs", KR_STATE_OK, KR_ERROR_TODO, {"a", "b"}, 1);
    EXPECT_TRUE(session.host.frames().empty());
    EXPECT_EQ(capture.standardOutput(),
              cannotWrite(kGeneric) + "[ERROR] KLV::sendWebsocketMessage() Buffer is empty\n");
}

TEST(OutOfMemory, MessageIsNotSent) {
    WorkerSession session;
    const LogCapture capture;
    Answer answer;
    const NoRoom noRoom(kAnswer);
    answer.sendMessage();
    EXPECT_TRUE(session.host.frames().empty());
    EXPECT_EQ(capture.standardOutput(),
              cannotWrite(kAnswer) + "[ERROR] KLV::sendMessage() Buffer is empty\n");
}

TEST(OutOfMemory, ADocumentThrowsWhereItCouldNotGrow) {
    Document doc;
    std::string text = "[0";
    for (int i = 0; i < 100'000; ++i) {
        text += ",0";
    }
    text += "]";
    const NoMemoryFrom limit(1'000'000);
    EXPECT_THROW(doc.Parse(text), std::bad_alloc);
}

TEST(OutOfMemory, SoDoesTheTextOfOne) {
    Document doc;
    const std::string text(100'000, 'x');
    doc.SetString(text.c_str(), static_cast<rapidjson::SizeType>(text.size()));
    const NoMemoryFrom limit(100'000);
    EXPECT_THROW(dom_to_json(&doc), std::bad_alloc);
}
