// The simulated TV behind the source-switch action: the argument protocol it
// accepts and the failure code of each malformed request. Its state changes
// are exercised through the library and sactl.
#include "recording_observers.h"

#include <tvsim/source_switch.h>

#include <gtest/gtest.h>

namespace {

using tvsim::SourceSwitchResponder;

constexpr const char* kTag = "ss_access_timercontrol1234_1";

using Arguments = std::vector<lomodelapi::Argument>;
using simtest::arguments;

constexpr int kMissingTag = SourceSwitchResponder::FAILURE_MISSING_TAG;
constexpr int kUnknownCommand = SourceSwitchResponder::FAILURE_UNKNOWN_COMMAND;
constexpr int kNotHbbtv = SourceSwitchResponder::FAILURE_NOT_HBBTV;
constexpr int kBadArguments = SourceSwitchResponder::FAILURE_BAD_ARGUMENTS;
constexpr int kUnknownResource = SourceSwitchResponder::FAILURE_UNKNOWN_RESOURCE;
constexpr int kUnknownChannel = SourceSwitchResponder::FAILURE_UNKNOWN_CHANNEL;

// The lists the client library builds, operation by operation.
Arguments resourceCommand(const std::string& code, const std::string& bits) {
    return arguments({{0, kTag}, {1, code}, {2, "hbbtv"}, {3, bits}});
}
Arguments channelStep(const std::string& step) {
    return arguments({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, step}, {5, "2"}});
}
Arguments channelByUuids(const std::string& channel, const std::string& folder) {
    return arguments({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, channel}, {4, folder}, {5, "2"}, {5, "1"}});
}
Arguments channelByUri(const std::string& uri) {
    return arguments({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, uri}, {4, ""}, {5, "2"}, {5, "0"}});
}

const tvsim::Channel& channel(std::size_t index) {
    static const std::vector<tvsim::Channel> channels = SourceSwitchResponder::defaultChannels();
    return channels.at(index);
}

struct RequestCase {
    const char* name;
    Arguments arguments;
    int failure;  // 0: accepted
};

class SourceSwitchRequestTest : public ::testing::TestWithParam<RequestCase> {};

TEST_P(SourceSwitchRequestTest, AnswersSuccessOrTheFailureCode) {
    SourceSwitchResponder responder;
    const tvsim::Reply reply = responder(7, GetParam().arguments);

    if (GetParam().failure == 0) {
        EXPECT_EQ(tvsim::Reply::Kind::Results, reply.kind);
        EXPECT_EQ(1u, responder.accepted().size());
    } else {
        EXPECT_EQ(tvsim::Reply::Kind::Failure, reply.kind);
        EXPECT_EQ(GetParam().failure, reply.error);
        EXPECT_TRUE(responder.accepted().empty());
    }
    ASSERT_EQ(1u, responder.requests().size());
    EXPECT_EQ(7u, responder.requests()[0].actionId);
    EXPECT_EQ(GetParam().failure, responder.requests()[0].failure);
}

// The lists the library sends are accepted in its own suite; here arguments in another order, then
// malformed requests.
const RequestCase kRequests[] = {
    {"ArgumentsInAnotherOrder", arguments({{3, "3"}, {2, "hbbtv"}, {0, kTag}, {1, "2"}}), 0},
    {"NoTag", arguments({{1, "2"}, {2, "hbbtv"}, {3, "3"}}), kMissingTag},
    {"EmptyTag", arguments({{0, ""}, {1, "2"}, {2, "hbbtv"}, {3, "3"}}), kMissingTag},
    {"CommandNotANumber", resourceCommand("two", "3"), kUnknownCommand},
    {"UnknownCommand", resourceCommand("9", "3"), kUnknownCommand},
    {"NotHbbtv", arguments({{0, kTag}, {1, "2"}, {2, "dvb"}, {3, "3"}}), kNotHbbtv},
    {"ResourceMissing", arguments({{0, kTag}, {1, "2"}, {2, "hbbtv"}}), kBadArguments},
    {"ResourceWithExtraArgument", arguments({{0, kTag}, {1, "3"}, {2, "hbbtv"}, {3, "3"}, {4, "x"}}), kBadArguments},
    {"AudioAlone", resourceCommand("2", "2"), kUnknownResource},
    {"AudioAndPSIWithoutVideo", resourceCommand("3", "6"), kUnknownResource},
    {"ResourceOutOfRange", resourceCommand("11", "8"), kUnknownResource},
    {"ResourceNotANumber", resourceCommand("2", "av"), kUnknownResource},
    {"StepNotOne", channelStep("+2"), kBadArguments},
    {"StepWithoutMode", arguments({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, "+1"}}), kBadArguments},
    {"StepWithModeAtPosition6", arguments({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, "-1"}, {6, "2"}}), kBadArguments},
    {"DirectWithModeDigitsSwapped",
     arguments({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, "x"}, {4, ""}, {5, "1"}, {5, "2"}}), kBadArguments},
    {"DirectWithForceAtPosition6",
     arguments({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, "x"}, {4, ""}, {5, "2"}, {6, "1"}}), kBadArguments},
    {"UnknownUuid", channelByUuids("no-such-channel", channel(0).folderUuid), kUnknownChannel},
    {"UuidInAnotherFolder", channelByUuids(channel(0).uuid, channel(3).folderUuid), kUnknownChannel},
    {"UnknownUri", channelByUri("dvb://9.9.9"), kUnknownChannel},
    {"EmptyUri", channelByUri(""), kUnknownChannel},
};

INSTANTIATE_TEST_SUITE_P(Requests, SourceSwitchRequestTest, ::testing::ValuesIn(kRequests),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(SourceSwitchResponderTest, StepsOnAnEmptyChannelListFailWithUnknownChannel) {
    SourceSwitchResponder responder(std::vector<tvsim::Channel>{});
    EXPECT_EQ(-1, responder.currentChannelIndex());
    EXPECT_EQ(kUnknownChannel, responder(1, channelStep("+1")).error);
}

}  // namespace
