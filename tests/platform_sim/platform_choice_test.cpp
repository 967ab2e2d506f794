// The platform choice once taken: the library may hold connections to the host
// taken at the first platform use, so a later choice must not pass silently.
#include "recording_observers.h"

#include <tvsim/platform_choice.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(PlatformChoiceTest, IsRefusedAfterTheFirstPlatformUseAndTheTakenHostServesOn) {
    boost::shared_ptr<frame::Interface> reference;
    frame::Process::getInstance().getInterfaceReference(reference, "no.such.interface");
    EXPECT_THROW(tvsim::usePlatformOnBus("unix:path=/nonexistent"), std::logic_error);
    EXPECT_THROW(tvsim::usePlatformInProcess(), std::logic_error);
    tvsim::Simulator simulator;
    EXPECT_NE(simtest::lookUpRoot(), nullptr);
}

}  // namespace
