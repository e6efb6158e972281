// What needs neither a connection nor Apache: UTF-8, close codes, header lists, origins.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/utf8.h"
#include "host/protocol/close_code.h"
#include "host/protocol/origin.h"
#include "host/protocol/token_list.h"

namespace websocket {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::uint8_t* bytes(const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

/// Encodes any number below 2^21 as UTF-8 would, whether it is allowed or not.
std::string encode(std::uint32_t code) {
    const auto byte = [](std::uint32_t value) { return static_cast<char>(value); };
    if (code < 0x80) {
        return {byte(code)};
    }
    if (code < 0x800) {
        return {byte(0xC0 | code >> 6), byte(0x80 | (code & 0x3F))};
    }
    if (code < 0x10000) {
        return {byte(0xE0 | code >> 12), byte(0x80 | (code >> 6 & 0x3F)),
                byte(0x80 | (code & 0x3F))};
    }
    return {byte(0xF0 | code >> 18), byte(0x80 | (code >> 12 & 0x3F)),
            byte(0x80 | (code >> 6 & 0x3F)), byte(0x80 | (code & 0x3F))};
}

bool isValid(const std::string& text) {
    base::Utf8Validator validator;
    return validator.feed(bytes(text), text.size()) && validator.complete();
}

TEST(Utf8Validator, TakesEveryCodeButSurrogatesAndThoseAbove10FFFF) {
    for (std::uint32_t code = 0; code < 0x200000; ++code) {
        const bool allowed = code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
        ASSERT_EQ(isValid(encode(code)), allowed) << std::hex << code;
    }
}

TEST(Utf8Validator, RefusesEveryOverlongForm) {
    for (unsigned code = 0; code < 0x80; ++code) {
        EXPECT_FALSE(isValid(
            {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 0x3F))}));
    }
    for (unsigned code = 0; code < 0x800; ++code) {
        EXPECT_FALSE(isValid({static_cast<char>(0xE0), static_cast<char>(0x80 | code >> 6),
                              static_cast<char>(0x80 | (code & 0x3F))}));
    }
    for (unsigned code = 0; code < 0x10000; ++code) {
        EXPECT_FALSE(isValid({static_cast<char>(0xF0), static_cast<char>(0x80 | code >> 12),
                              static_cast<char>(0x80 | (code >> 6 & 0x3F)),
                              static_cast<char>(0x80 | (code & 0x3F))}));
    }
}

TEST(Utf8Validator, FindsTheFirstWrongByteWhereverTheTextIsCut) {
    const std::string text = "0123456789 \xE2\x82\xAC 0123456789\xED\xA0\x80";
    const std::size_t wrong = text.size() - 2;
    for (std::size_t cut = 0; cut <= wrong; ++cut) {
        base::Utf8Validator validator;
        EXPECT_TRUE(validator.feed(bytes(text), cut));
        EXPECT_TRUE(validator.feed(bytes(text) + cut, wrong - cut));
        EXPECT_FALSE(validator.feed(bytes(text) + wrong, 1));
    }
}

TEST(Utf8Validator, KnowsAWholeCharacterFromAHalfOne) {
    const std::string text = encode(0x1F600);
    base::Utf8Validator validator;
    EXPECT_TRUE(validator.complete());
    for (std::size_t i = 0; i < text.size(); ++i) {
        EXPECT_TRUE(validator.feed(bytes(text) + i, 1));
        EXPECT_EQ(validator.complete(), i + 1 == text.size());
    }
}

TEST(Utf8Validator, StartsAnewAfterReset) {
    base::Utf8Validator validator;
    EXPECT_TRUE(validator.feed(bytes("\xF0"), 1));
    validator.reset();
    EXPECT_TRUE(validator.complete());
    EXPECT_TRUE(validator.feed(bytes("a"), 1));
    EXPECT_FALSE(validator.feed(bytes("\x80"), 1));
}

TEST(CloseCode, KnowsWhichMayTravel) {
    for (unsigned code = 0; code <= 65535; ++code) {
        const bool valid = (code >= 1000 && code <= 1003) || (code >= 1007 && code <= 1011) ||
                           (code >= 3000 && code <= 4999);
        EXPECT_EQ(isValidCloseCode(code), valid) << code;
    }
}

TEST(CloseCode, LooksAtThePayloadOfACloseFrame) {
    const auto check = [](const std::string& payload) {
        return checkClosePayload(bytes(payload), payload.size());
    };
    EXPECT_EQ(check(""), kCloseNone);
    EXPECT_EQ(check("\x03"), kCloseProtocolError);
    EXPECT_EQ(check("\x03\xE8"), kCloseNone);
    EXPECT_EQ(check("\x03\xE8gr\xC3\xBC\xC3\x9F"), kCloseNone);
    EXPECT_EQ(check("\x03\xEC"), kCloseProtocolError);
    EXPECT_EQ(check("\x03\xE8\xFF"), kCloseInvalidText);
    EXPECT_EQ(check("\x03\xE8\xC3"), kCloseInvalidText);
}

TEST(TokenList, SplitsAtCommasAndDropsWhatIsEmpty) {
    EXPECT_THAT(splitList("a, b ,\tc,,d , "), ElementsAre("a", "b", "c", "d"));
    EXPECT_THAT(splitList(""), IsEmpty());
    EXPECT_THAT(splitList(" , ,"), IsEmpty());
}

TEST(TokenList, FindsAnElementInAnyCase) {
    EXPECT_TRUE(listHas("keep-alive, UPGRADE", "upgrade"));
    EXPECT_FALSE(listHas("upgraded, re-upgrade", "upgrade"));
    EXPECT_FALSE(listHas("", "upgrade"));
}

TEST(TokenList, KnowsATokenWhenItSeesOne) {
    EXPECT_TRUE(isToken("kr-webapp-v1"));
    EXPECT_TRUE(isToken("!#$%&'*+-.^_`|~09azAZ"));
    for (const char* text : {"", "a b", "a,b", "a;b", "a=b", "a\"", "a/b", "a\x7F", "\xC3\xBC"}) {
        EXPECT_FALSE(isToken(text)) << text;
    }
}

TEST(Origin, ReadsSchemeHostAndPort) {
    EXPECT_EQ(parseOrigin("http://desk.example"), (Origin{"http", "desk.example", 80}));
    EXPECT_EQ(parseOrigin("HTTPS://Desk.Example"), (Origin{"https", "desk.example", 443}));
    EXPECT_EQ(parseOrigin("https://desk.example:8443"), (Origin{"https", "desk.example", 8443}));
    EXPECT_EQ(parseOrigin("http://[::1]"), (Origin{"http", "[::1]", 80}));
    EXPECT_EQ(parseOrigin("http://[::1]:81"), (Origin{"http", "[::1]", 81}));
}

TEST(Origin, IsNothingWhereTheTextIsNone) {
    for (const char* text : {"",
                             "null",
                             "desk.example",
                             "://a",
                             "http://",
                             "http://a/",
                             "http://a/b",
                             "http://a?b",
                             "http://a#b",
                             "http://u@a",
                             "http://a:1:2",
                             "http://a:x",
                             "http://a:80x",
                             "http://a:65536",
                             "http://a:-1",
                             "http://[::1",
                             "http://a b",
                             "http://[::1]80",
                             "http://:80",
                             "http://a, http://a"}) {
        EXPECT_FALSE(parseOrigin(text)) << text;
    }
}

TEST(Origin, OfARequestIsItsSchemeAndHost) {
    EXPECT_EQ(originOfRequest("http", "Desk.example:8080"),
              parseOrigin("http://desk.example:8080"));
    EXPECT_EQ(originOfRequest("https", "desk.example"), parseOrigin("https://desk.example:443"));
    EXPECT_NE(originOfRequest("http", "desk.example"), parseOrigin("https://desk.example"));
    EXPECT_FALSE(originOfRequest("http", ""));
}

}  // namespace
}  // namespace websocket
