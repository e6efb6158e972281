// Requests and answers that carry nothing, numbers or texts, one type per id. Handlers tell the
// answers apart by these exact types.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "krpbus/messages/krp_message.h"

/// A request without parameters.
template <krpMsgID_t id>
class SimpleMessageRequest : public KRPMessageRequest {
  public:
    explicit SimpleMessageRequest(std::string requestName = "NotSet")
        : KRPMessageRequest(id, std::move(requestName)) {}

    std::unique_ptr<MessageBase> clone() const override {
        return std::make_unique<SimpleMessageRequest>(*this);
    }
};

/// A request with one number.
template <krpMsgID_t id, class T>
class Simple1MessageRequest : public KRPMessageRequest {
  public:
    explicit Simple1MessageRequest(T parameter, std::string requestName = "NotSet")
        : KRPMessageRequest(id, std::move(requestName)), value_(parameter) {
        ByteWriter writer;
        writer.number(value_);
        payload.assign(writer.bytes().begin(), writer.bytes().end());
    }

    std::unique_ptr<MessageBase> clone() const override {
        return std::make_unique<Simple1MessageRequest>(*this);
    }
    T getValue() const { return value_; }

  private:
    T value_;
};

/// A request with two numbers.
template <krpMsgID_t id, class T, class U>
class Simple2MessageRequest : public KRPMessageRequest {
  public:
    Simple2MessageRequest(T first, U second, std::string requestName = "NotSet")
        : KRPMessageRequest(id, std::move(requestName)), first_(first), second_(second) {
        ByteWriter writer;
        writer.number(first_);
        writer.number(second_);
        payload.assign(writer.bytes().begin(), writer.bytes().end());
    }

    std::unique_ptr<MessageBase> clone() const override {
        return std::make_unique<Simple2MessageRequest>(*this);
    }
    T getFirst() const { return first_; }
    U getSecond() const { return second_; }

  private:
    T first_;
    U second_;
};

/// An answer that carries its status only.
template <krpMsgID_t id>
class SimpleMessageResponse : public KRPMessageResponse {
  public:
    SimpleMessageResponse() : KRPMessageResponse(id) {}

    std::unique_ptr<MessageBase> clone() const override {
        return std::make_unique<SimpleMessageResponse>(*this);
    }
    void decodeResult(ByteReader&) override {}

  protected:
    void encodeResult(ByteWriter&) const override {}
    void printResult(std::ostream&) const override {}
};

/// An answer with one number.
template <krpMsgID_t id, class T>
class Simple1MessageResponse : public KRPMessageResponse {
  public:
    explicit Simple1MessageResponse(T result = {}) : KRPMessageResponse(id), value(result) {}

    std::unique_ptr<MessageBase> clone() const override {
        return std::make_unique<Simple1MessageResponse>(*this);
    }
    void decodeResult(ByteReader& reader) override { value = reader.number<T>(); }

    T value;

  protected:
    void encodeResult(ByteWriter& writer) const override { writer.number(value); }
    void printResult(std::ostream& out) const override { out << " [value=" << +value << "]"; }
};

/// An answer with a fixed number of texts.
template <krpMsgID_t id, std::size_t N>
class StringMessageResponse : public KRPMessageResponse {
  public:
    StringMessageResponse() : KRPMessageResponse(id) {}
    explicit StringMessageResponse(std::string text) requires(N == 1)
        : KRPMessageResponse(id), texts{std::move(text)} {}

    std::unique_ptr<MessageBase> clone() const override {
        return std::make_unique<StringMessageResponse>(*this);
    }
    void decodeResult(ByteReader& reader) override {
        for (std::string& text : texts) {
            text = reader.text();
        }
    }
    const std::string& getText() const { return texts.front(); }

    std::array<std::string, N> texts;

  protected:
    void encodeResult(ByteWriter& writer) const override {
        for (const std::string& text : texts) {
            writer.text(text);
        }
    }
    void printResult(std::ostream& out) const override {
        for (const std::string& text : texts) {
            out << " [text=" << text << "]";
        }
    }
};

/// An answer with two texts; in the answer to request 82 the configuration's name and the logger's
/// name.
template <krpMsgID_t id>
class String2MessageResponse : public KRPMessageResponse {
  public:
    String2MessageResponse() : KRPMessageResponse(id) {}
    String2MessageResponse(std::string firstText, std::string secondText)
        : KRPMessageResponse(id), first(std::move(firstText)), second(std::move(secondText)) {}

    std::unique_ptr<MessageBase> clone() const override {
        return std::make_unique<String2MessageResponse>(*this);
    }
    void decodeResult(ByteReader& reader) override {
        first = reader.text();
        second = reader.text();
    }

    std::string first;
    std::string second;

  protected:
    void encodeResult(ByteWriter& writer) const override { writer.push2(first, second); }
    void printResult(std::ostream& out) const override {
        out << " [first=" << first << "] [second=" << second << "]";
    }
};

/// An answer with any number of texts.
template <krpMsgID_t id>
class StringVectorMessageResponse : public KRPMessageResponse {
  public:
    StringVectorMessageResponse() : KRPMessageResponse(id) {}
    explicit StringVectorMessageResponse(std::vector<std::string> result)
        : KRPMessageResponse(id), strings(std::move(result)) {}

    std::unique_ptr<MessageBase> clone() const override {
        return std::make_unique<StringVectorMessageResponse>(*this);
    }
    void decodeResult(ByteReader& reader) override {
        strings.resize(reader.count(sizeof(std::uint32_t)));
        for (std::string& text : strings) {
            text = reader.text();
        }
    }

    std::vector<std::string> strings;

  protected:
    void encodeResult(ByteWriter& writer) const override {
        writer.number(static_cast<std::uint32_t>(strings.size()));
        for (const std::string& text : strings) {
            writer.text(text);
        }
    }
    void printResult(std::ostream& out) const override {
        for (const std::string& text : strings) {
            out << " [text=" << text << "]";
        }
    }
};
