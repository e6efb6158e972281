// The bytes of every message: what docs/bus.md shows, there and back, and nothing shorter.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <typeinfo>

#include "krpbus/messages/byte_writer.h"
#include "krpbus/messages/message_base.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "tests/krpbus/messages/message_samples.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes encoded(const MessageBase& message) {
    ByteWriter writer;
    message.encode(writer);
    return {writer.bytes().begin(), writer.bytes().end()};
}

std::string hex(const Bytes& bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0x0F];
    }
    return text;
}

// The document's examples: a line "Example, <name>:" and below it indented lines of digits.
std::map<std::string, std::string> documentedExamples() {
    constexpr std::string_view kExample = "Example, ";
    std::map<std::string, std::string> examples;
    std::string* current = nullptr;
    std::ifstream document(BUS_DOCUMENT);
    for (std::string line; std::getline(document, line);) {
        if (line.starts_with(kExample) && line.ends_with(":")) {
            current = &examples[line.substr(kExample.size(), line.size() - kExample.size() - 1)];
        } else if (current != nullptr && line.starts_with("    ")) {
            for (const char letter : line) {
                if (letter != ' ') {
                    *current += letter;
                }
            }
        } else if (!line.empty()) {
            current = nullptr;
        }
    }
    return examples;
}

TEST(MessageLayout, IsWhatTheDocumentShows) {
    std::map<std::string, std::string> actual;
    for (const MessageSample& sample : messageSamples()) {
        actual[sample.name] = hex(encoded(*sample.message));
    }
    EXPECT_EQ(documentedExamples(), actual);
}

TEST(MessageLayout, ComesBackAsTheSameMessage) {
    for (const MessageSample& sample : messageSamples()) {
        SCOPED_TRACE(sample.name);
        const Bytes bytes = encoded(*sample.message);
        const auto decoded = MessageBase::decode(bytes);
        ASSERT_NE(decoded, nullptr);
        const MessageBase& original = *sample.message;
        const MessageBase& copy = *decoded;
        EXPECT_EQ(typeid(copy), typeid(original));
        EXPECT_EQ(copy.toString(), original.toString());
        EXPECT_EQ(encoded(copy), bytes);
    }
}

TEST(MessageLayout, IsTheSameForAClone) {
    for (const MessageSample& sample : messageSamples()) {
        SCOPED_TRACE(sample.name);
        sample.message->setSource("somebody");
        sample.message->setDestination("me");
        const auto clone = sample.message->clone();
        const MessageBase& original = *sample.message;
        const MessageBase& copy = *clone;
        EXPECT_EQ(typeid(copy), typeid(original));
        EXPECT_EQ(encoded(copy), encoded(original));
        EXPECT_EQ(copy.getSource(), "somebody");
        EXPECT_EQ(copy.getDestination(), "me");
    }
}

TEST(MessageLayout, IsRefusedWhenCutOrContinued) {
    for (const MessageSample& sample : messageSamples()) {
        SCOPED_TRACE(sample.name);
        const Bytes bytes = encoded(*sample.message);
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            EXPECT_EQ(MessageBase::decode(std::span(bytes).first(length)), nullptr) << length;
        }
        Bytes longer = bytes;
        longer.push_back(0);
        EXPECT_EQ(MessageBase::decode(longer), nullptr);
    }
}

TEST(MessageLayout, SurvivesAnyChangedByte) {
    for (const MessageSample& sample : messageSamples()) {
        const Bytes bytes = encoded(*sample.message);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            for (const int change : {0x01, 0x80, 0xFF}) {
                Bytes changed = bytes;
                changed[i] = static_cast<std::uint8_t>(changed[i] ^ change);
                if (const auto message = MessageBase::decode(changed)) {
                    // A flag may be any byte; all else comes back as it was.
                    const auto again = MessageBase::decode(encoded(*message));
                    ASSERT_NE(again, nullptr) << sample.name << " at " << i;
                    EXPECT_EQ(again->toString(), message->toString());
                }
            }
        }
    }
}

TEST(MessageLayout, HasTheSizeThatTheMessageSays) {
    for (const MessageSample& sample : messageSamples()) {
        SCOPED_TRACE(sample.name);
        const Bytes bytes = encoded(*sample.message);
        ASSERT_EQ(sample.message->getSize(), bytes.size());

        unsigned char* allocated = nullptr;
        EXPECT_EQ(sample.message->writeToByteArray(allocated, 0, true), bytes.size());
        EXPECT_EQ(std::memcmp(allocated, bytes.data(), bytes.size()), 0);
        delete[] allocated;

        Bytes room(bytes.size());
        unsigned char* position = room.data();
        const auto size = static_cast<unsigned int>(room.size());
        EXPECT_EQ(sample.message->writeToByteArray(position, size - 1, false), 0U);
        EXPECT_EQ(position, room.data());
        EXPECT_EQ(sample.message->writeToByteArray(position, size, false), size);
        EXPECT_EQ(position, room.data() + size);
        EXPECT_EQ(room, bytes);
    }
}

TEST(MessageLayout, KeepsTheSourceChannel) {
    Bytes bytes = encoded(SystemMessage(4, "x"));
    bytes[2] = 9;
    const auto message = MessageBase::decode(bytes);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->getSourceChannel(), 9);
    EXPECT_EQ(encoded(*message), bytes);
}

TEST(MessageLayout, IsRefusedWithoutAKnownType) {
    EXPECT_EQ(MessageBase::decode({}), nullptr);
    Bytes unknownClass = encoded(SystemMessage(4, "x"));
    unknownClass[0] = 0x12;
    EXPECT_EQ(MessageBase::decode(unknownClass), nullptr);
    EXPECT_EQ(MessageBase::decode(encoded(KRPMessageRequest(999))), nullptr);
    Bytes unknownAnswer = encoded(SimpleMessageResponse<87>());
    unknownAnswer[5] = 99;
    EXPECT_EQ(MessageBase::decode(unknownAnswer), nullptr);
    Bytes unknownKind = encoded(SimpleMessageRequest<23>());
    unknownKind[3] = 3;
    EXPECT_EQ(MessageBase::decode(unknownKind), nullptr);
}

TEST(MessageLayout, RefusesACountThatTheBytesCannotHold) {
    Bytes bytes = encoded(StringVectorMessageResponse<88>({"a"}));
    // The count stands behind the head, the empty error fields and the length of the result.
    constexpr std::size_t kCount = 2 + 1 + 1 + 2 + 1 + 4 + 4 + 4;
    ASSERT_EQ(bytes[kCount + 3], 1);
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[kCount + i] = 0xFF;
    }
    EXPECT_EQ(MessageBase::decode(bytes), nullptr);
}

TEST(MessageLayout, HasNoResultInAFailedAnswer) {
    StringMessageResponse<53, 1> answer("ignored");
    answer.setError(KRPMessageResponse::KRPSTATUS_NOTAVAILABLE, errorCode_t::NotFound);
    const auto message = MessageBase::decode(encoded(answer));
    const auto* const decoded = dynamic_cast<StringMessageResponse<53, 1>*>(message.get());
    ASSERT_NE(decoded, nullptr);
    EXPECT_EQ(decoded->status, KRPMessageResponse::KRPSTATUS_NOTAVAILABLE);
    EXPECT_EQ(decoded->errorCode, Bytes{4});
    EXPECT_EQ(decoded->getText(), "");
}

TEST(MessageLayout, MayHaveAFailedAnswerWithoutErrorBytes) {
    SimpleMessageResponse<87> answer;
    answer.status = KRPMessageResponse::KRPSTATUS_ERROR;
    const auto message = MessageBase::decode(encoded(answer));
    const auto* const decoded = dynamic_cast<SimpleMessageResponse<87>*>(message.get());
    ASSERT_NE(decoded, nullptr);
    EXPECT_TRUE(decoded->errorCode.empty());
    EXPECT_FALSE(decoded->isBusy());
}

std::unique_ptr<MessageBase> nested(unsigned int envelopes) {
    std::unique_ptr<MessageBase> message = std::make_unique<SystemMessage>(4, "x");
    for (unsigned int i = 0; i < envelopes; ++i) {
        message = std::make_unique<RouterMessage>("a", "b", std::move(message));
    }
    return message;
}

TEST(MessageLayout, BoundsEnvelopesWithinEnvelopes) {
    EXPECT_NE(MessageBase::decode(encoded(*nested(RouterMessage::kMaxNesting))), nullptr);
    EXPECT_EQ(MessageBase::decode(encoded(*nested(RouterMessage::kMaxNesting + 1))), nullptr);
    EXPECT_EQ(MessageBase::decode(encoded(*nested(500))), nullptr);
}

TEST(MessageLayout, IsRefusedWhenTheMessageInsideIs) {
    Bytes bytes = encoded(RouterMessage("a", "b", std::make_unique<SystemMessage>(4, "x")));
    bytes[bytes.size() - 2] = 9;  // the inner text's length
    EXPECT_EQ(MessageBase::decode(bytes), nullptr);
}

}  // namespace
