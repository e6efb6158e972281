#include "desk/services/audience.h"

#include <gmock/gmock.h>

#include "tests/krpbus/client/bus_test_client.h"

using desk::Agenda;
using desk::Audience;
using desk::Clock;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

class AudienceTest : public testing::Test {
  protected:
    NatsServer server_;
    Agenda agenda_;
    std::unique_ptr<KRPBusClient> bus_ = makeClient(server_, "desk", "02:00:00:00:00:01");
    Audience audience_{*bus_, agenda_};
};

TEST_F(AudienceTest, IsReachedAloneOrTogetherAsEachHasSaid) {
    EXPECT_THAT(audience_.reach().each, IsEmpty());
    audience_.add("1_KLV1");
    audience_.add("ksl://0/02:00:00:00:00:02/2_KLV2");
    EXPECT_FALSE(audience_.reach().ownLogger);
    audience_.add("3_KLV3", true);
    audience_.add("ksl://0/02:00:00:00:00:03/4_KLV4", true);
    audience_.add("ksl://0/02:00:00:00:00:03/5_KLV5", true);
    audience_.add("ksl://0/02:00:00:00:00:02/6_KLV6", true);
    const Audience::Reach& reach = audience_.reach();
    EXPECT_THAT(reach.each, ElementsAre("1_KLV1", "ksl://0/02:00:00:00:00:02/2_KLV2"));
    EXPECT_TRUE(reach.ownLogger);
    EXPECT_THAT(reach.otherLoggers, ElementsAre("02:00:00:00:00:02", "02:00:00:00:00:03"));
}

TEST_F(AudienceTest, IsNoLongerReachedWhereItHasGone) {
    audience_.add("1_KLV1");
    audience_.add("2_KLV2", true);
    audience_.add("ksl://0/02:00:00:00:00:02/3_KLV3", true);
    EXPECT_TRUE(audience_.reach().ownLogger);
    audience_.remove("2_KLV2");
    EXPECT_FALSE(audience_.reach().ownLogger);
    for (int round = 0; round < Audience::kMissingRounds; ++round) {
        audience_.missing("ksl://0/02:00:00:00:00:02/3_KLV3");
        agenda_.runDue(Clock::now() + 1h);
    }
    EXPECT_THAT(audience_.reach().otherLoggers, IsEmpty());
    EXPECT_THAT(audience_.reach().each, ElementsAre("1_KLV1"));
}

}  // namespace
