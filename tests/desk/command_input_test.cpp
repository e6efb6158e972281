#include "desk/command_input.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string_view>

using desk::CommandInput;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class CommandInputTest : public testing::Test {
  protected:
    CommandInputTest() { EXPECT_EQ(pipe(ends_.data()), 0); }
    ~CommandInputTest() override {
        close(ends_[0]);
        endInput();
    }
    void type(std::string_view text) {
        EXPECT_EQ(write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void endInput() {
        if (ends_[1] >= 0) {
            close(ends_[1]);
            ends_[1] = -1;
        }
    }
    int readEnd() const { return ends_[0]; }

  private:
    std::array<int, 2> ends_{-1, -1};
};

TEST_F(CommandInputTest, GivesTheLinesOfOneRead) {
    CommandInput input(readEnd());
    type("notify 1-config\n\nleave\n");
    EXPECT_THAT(input.readLines(), ElementsAre("notify 1-config", "", "leave"));
}

TEST_F(CommandInputTest, KeepsALineUntilItsEndHasCome) {
    CommandInput input(readEnd());
    type("notify 1-");
    EXPECT_THAT(input.readLines(), IsEmpty());
    type("config\nle");
    EXPECT_THAT(input.readLines(), ElementsAre("notify 1-config"));
    type("ave\n");
    EXPECT_THAT(input.readLines(), ElementsAre("leave"));
}

TEST_F(CommandInputTest, HasNoDescriptorAfterTheEndOfTheInput) {
    CommandInput input(readEnd());
    type("leave\n");
    endInput();
    EXPECT_THAT(input.readLines(), ElementsAre("leave"));
    EXPECT_EQ(input.fd(), readEnd());
    EXPECT_THAT(input.readLines(), IsEmpty());
    EXPECT_EQ(input.fd(), -1);
}

TEST_F(CommandInputTest, GivesUpOnALineWithoutEnd) {
    CommandInput input(readEnd());
    for (int i = 0; i < 4 && input.fd() != -1; ++i) {
        type(std::string(500, 'x'));
        EXPECT_THAT(input.readLines(), IsEmpty());
    }
    EXPECT_EQ(input.fd(), -1);
}

}  // namespace
