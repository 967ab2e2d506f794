// The simulated TV behind the source-switch action: the argument protocol it
// accepts, the failure codes for everything else, and the state it keeps.
#include "recording_observers.h"

#include <tvsim/source_switch.h>

#include <gtest/gtest.h>

namespace {

using tvsim::ResourceHolder;
using tvsim::SourceSwitchResponder;

constexpr const char* kTag = "ss_access_timercontrol1234_1";

using Arguments = std::vector<lomodelapi::Argument>;

// Arguments in list order, each {position, value}.
Arguments list(std::initializer_list<std::pair<int, std::string>> items) {
    Arguments arguments;
    for (const auto& item : items) {
        lomodelapi::Argument argument;
        argument.position = static_cast<std::int8_t>(item.first);
        argument.value = item.second;
        arguments.push_back(argument);
    }
    return arguments;
}

// The lists the client library builds, operation by operation.
Arguments resourceCommand(const std::string& code, const std::string& bits) {
    return list({{0, kTag}, {1, code}, {2, "hbbtv"}, {3, bits}});
}
Arguments channelStep(const std::string& step) {
    return list({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, step}, {5, "2"}});
}
Arguments channelByUuids(const std::string& channel, const std::string& folder, bool forceShowAV) {
    return list({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, channel}, {4, folder}, {5, "2"}, {5, forceShowAV ? "1" : "0"}});
}
Arguments channelByUri(const std::string& uri, bool forceShowAV) {
    return list({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, uri}, {4, ""}, {5, "2"}, {5, forceShowAV ? "1" : "0"}});
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

INSTANTIATE_TEST_SUITE_P(
    WhatTheLibrarySends, SourceSwitchRequestTest,
    ::testing::Values(RequestCase{"RequestAV", resourceCommand("2", "3"), 0},
                      RequestCase{"RequestPSI", resourceCommand("2", "4"), 0},
                      RequestCase{"ReleasePSIAV", resourceCommand("3", "7"), 0},
                      RequestCase{"ReleaseVideo", resourceCommand("3", "1"), 0},
                      RequestCase{"PlaybackVideoAndPSI", resourceCommand("11", "5"), 0},
                      RequestCase{"ChannelPrev", channelStep("-1"), 0},
                      RequestCase{"ChannelNext", channelStep("+1"), 0},
                      RequestCase{"ChannelByUuids", channelByUuids(channel(2).uuid, channel(2).folderUuid, true), 0},
                      RequestCase{"ChannelByUri", channelByUri(channel(3).uri, false), 0},
                      RequestCase{"ArgumentsInAnotherOrder", list({{3, "3"}, {2, "hbbtv"}, {0, kTag}, {1, "2"}}), 0}),
    [](const ::testing::TestParamInfo<RequestCase>& test) { return std::string(test.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Malformed, SourceSwitchRequestTest,
    ::testing::Values(
        RequestCase{"NoTag", list({{1, "2"}, {2, "hbbtv"}, {3, "3"}}), SourceSwitchResponder::FAILURE_MISSING_TAG},
        RequestCase{"EmptyTag", list({{0, ""}, {1, "2"}, {2, "hbbtv"}, {3, "3"}}),
                    SourceSwitchResponder::FAILURE_MISSING_TAG},
        RequestCase{"CommandNotANumber", resourceCommand("two", "3"), SourceSwitchResponder::FAILURE_UNKNOWN_COMMAND},
        RequestCase{"UnknownCommand", resourceCommand("9", "3"), SourceSwitchResponder::FAILURE_UNKNOWN_COMMAND},
        RequestCase{"NotHbbtv", list({{0, kTag}, {1, "2"}, {2, "dvb"}, {3, "3"}}),
                    SourceSwitchResponder::FAILURE_NOT_HBBTV},
        RequestCase{"ResourceMissing", list({{0, kTag}, {1, "2"}, {2, "hbbtv"}}),
                    SourceSwitchResponder::FAILURE_BAD_ARGUMENTS},
        RequestCase{"ResourceWithExtraArgument", list({{0, kTag}, {1, "3"}, {2, "hbbtv"}, {3, "3"}, {4, "x"}}),
                    SourceSwitchResponder::FAILURE_BAD_ARGUMENTS},
        RequestCase{"AudioAlone", resourceCommand("2", "2"), SourceSwitchResponder::FAILURE_UNKNOWN_RESOURCE},
        RequestCase{"AudioAndPSIWithoutVideo", resourceCommand("3", "6"),
                    SourceSwitchResponder::FAILURE_UNKNOWN_RESOURCE},
        RequestCase{"ResourceOutOfRange", resourceCommand("11", "8"), SourceSwitchResponder::FAILURE_UNKNOWN_RESOURCE},
        RequestCase{"ResourceNotANumber", resourceCommand("2", "av"), SourceSwitchResponder::FAILURE_UNKNOWN_RESOURCE},
        RequestCase{"StepNotOne", channelStep("+2"), SourceSwitchResponder::FAILURE_BAD_ARGUMENTS},
        RequestCase{"StepWithoutMode", list({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, "+1"}}),
                    SourceSwitchResponder::FAILURE_BAD_ARGUMENTS},
        RequestCase{"StepWithModeAtPosition6", list({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, "-1"}, {6, "2"}}),
                    SourceSwitchResponder::FAILURE_BAD_ARGUMENTS},
        RequestCase{"DirectWithModeDigitsSwapped",
                    list({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, "x"}, {4, ""}, {5, "1"}, {5, "2"}}),
                    SourceSwitchResponder::FAILURE_BAD_ARGUMENTS},
        RequestCase{"DirectWithForceAtPosition6",
                    list({{0, kTag}, {1, "8"}, {2, "hbbtv"}, {3, "x"}, {4, ""}, {5, "2"}, {6, "1"}}),
                    SourceSwitchResponder::FAILURE_BAD_ARGUMENTS},
        RequestCase{"UnknownUuid", channelByUuids("no-such-channel", channel(0).folderUuid, false),
                    SourceSwitchResponder::FAILURE_UNKNOWN_CHANNEL},
        RequestCase{"UuidInAnotherFolder", channelByUuids(channel(0).uuid, channel(3).folderUuid, false),
                    SourceSwitchResponder::FAILURE_UNKNOWN_CHANNEL},
        RequestCase{"UnknownUri", channelByUri("dvb://9.9.9", false), SourceSwitchResponder::FAILURE_UNKNOWN_CHANNEL},
        RequestCase{"EmptyUri", channelByUri("", false), SourceSwitchResponder::FAILURE_UNKNOWN_CHANNEL}),
    [](const ::testing::TestParamInfo<RequestCase>& test) { return std::string(test.param.name); });

TEST(SourceSwitchResponderTest, ResourceCommandsMoveTheirBitsBetweenSystemAndWebEngine) {
    SourceSwitchResponder responder;
    EXPECT_EQ(ResourceHolder::SYSTEM, responder.holder(SourceSwitchResponder::RESOURCE_VIDEO));

    responder(1, resourceCommand("2", "3"));
    EXPECT_EQ(ResourceHolder::WEB_ENGINE, responder.holder(SourceSwitchResponder::RESOURCE_VIDEO));
    EXPECT_EQ(ResourceHolder::WEB_ENGINE, responder.holder(SourceSwitchResponder::RESOURCE_AUDIO));
    EXPECT_EQ(ResourceHolder::SYSTEM, responder.holder(SourceSwitchResponder::RESOURCE_PSI));

    responder(2, resourceCommand("2", "4"));
    responder(3, resourceCommand("3", "1"));
    EXPECT_EQ(ResourceHolder::SYSTEM, responder.holder(SourceSwitchResponder::RESOURCE_VIDEO));
    EXPECT_EQ(ResourceHolder::WEB_ENGINE, responder.holder(SourceSwitchResponder::RESOURCE_AUDIO));
    EXPECT_EQ(ResourceHolder::WEB_ENGINE, responder.holder(SourceSwitchResponder::RESOURCE_PSI));

    responder(4, resourceCommand("11", "5"));
    EXPECT_EQ(5, responder.playbackStatus());
    // A rejected request changes nothing.
    responder(5, resourceCommand("3", "6"));
    EXPECT_EQ(ResourceHolder::WEB_ENGINE, responder.holder(SourceSwitchResponder::RESOURCE_AUDIO));
}

TEST(SourceSwitchResponderTest, ChannelStepsWrapAroundAndDirectChangesFindTheirChannel) {
    SourceSwitchResponder responder;
    const int last = static_cast<int>(SourceSwitchResponder::defaultChannels().size()) - 1;
    ASSERT_EQ(0, responder.currentChannelIndex());

    responder(1, channelStep("-1"));
    EXPECT_EQ(last, responder.currentChannelIndex());
    responder(2, channelStep("+1"));
    EXPECT_EQ(0, responder.currentChannelIndex());

    responder(3, channelByUuids(channel(2).uuid, channel(2).folderUuid, true));
    EXPECT_EQ(channel(2).name, responder.currentChannel().name);
    EXPECT_TRUE(responder.lastForceShowAV());

    responder(4, channelByUri(channel(1).uri, false));
    EXPECT_EQ(channel(1).uuid, responder.currentChannel().uuid);
    EXPECT_FALSE(responder.lastForceShowAV());
}

TEST(SourceSwitchResponderTest, StepsOnAnEmptyChannelListFailWithUnknownChannel) {
    SourceSwitchResponder responder(std::vector<tvsim::Channel>{});
    EXPECT_EQ(-1, responder.currentChannelIndex());
    EXPECT_EQ(SourceSwitchResponder::FAILURE_UNKNOWN_CHANNEL, responder(1, channelStep("+1")).error);
}

TEST(SourceSwitchResponderTest, AnswersThroughTheSimulatorAndSharesStateWithItsCopies) {
    tvsim::Simulator sim;
    SourceSwitchResponder responder;
    sim.addAction("orvik.sl2.action.source.switch", responder.responder());
    simtest::ActionObserver observer;
    ModelObject* object = nullptr;
    ASSERT_EQ(0, simtest::lookUpRoot()->connect("orvik.sl2.action.source.switch", &observer, object));
    auto* action = static_cast<ActionObject*>(object);

    unsigned int good = 0;
    unsigned int bad = 0;
    action->invoke(good, resourceCommand("2", "7"));
    action->invoke(bad, resourceCommand("2", "0"));
    sim.flush();

    const std::vector<std::string> expected{
        "result " + std::to_string(good) + " ",
        "error " + std::to_string(bad) + " " + std::to_string(SourceSwitchResponder::FAILURE_UNKNOWN_RESOURCE)};
    EXPECT_EQ(expected, observer.log.events());
    EXPECT_EQ(ResourceHolder::WEB_ENGINE, responder.holder(SourceSwitchResponder::RESOURCE_PSI));
    ASSERT_EQ(1u, responder.accepted().size());
    EXPECT_EQ(good, responder.accepted()[0].actionId);
    simtest::lookUpRoot()->disconnect("orvik.sl2.action.source.switch", &observer, object);
}

}  // namespace
