#include "json/kr_state.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::string textOf(unsigned code) {
    Document doc(rapidjson::kObjectType);
    addErrorCodeToDom(&doc, static_cast<kr_error_code>(code));
    return doc["error_code"].GetString();
}

}  // namespace

TEST(ErrorCode, HasItsFixedText) {
    const std::vector<std::string> expected = {
        "todo",           "unspecified",  "internal_error",    "invalid_command",
        "illegal_config", "cannot_start", "cannot_stop",       "wait for logger info",
        "krpbus_error",   "todo",         "other_data_upload", "no_data_upload",
        "not_running",    "running",      "illegal_key",       "illegal_interval",
        "no_value",
    };
    std::vector<std::string> actual;
    for (unsigned code = 0; code < expected.size(); ++code) {
        actual.push_back(textOf(code));
    }
    EXPECT_EQ(actual, expected);
}

TEST(ErrorCode, WithoutATextOfItsOwnIsTodo) {
    EXPECT_EQ(textOf(17), "todo");
    EXPECT_EQ(textOf(42), "todo");
    EXPECT_EQ(textOf(4294967295U), "todo");
}

TEST(ErrorCode, FollowsTheStatusError) {
    Document doc(rapidjson::kObjectType);
    addErrorCodeToDom(&doc, KR_ERROR_RUNNING);
    ASSERT_EQ(doc.MemberCount(), 2U);
    EXPECT_STREQ(doc.MemberBegin()->name.GetString(), "status");
    EXPECT_STREQ(doc.MemberBegin()->value.GetString(), "ERROR");
    EXPECT_STREQ((doc.MemberBegin() + 1)->name.GetString(), "error_code");
    EXPECT_STREQ((doc.MemberBegin() + 1)->value.GetString(), "running");
}
