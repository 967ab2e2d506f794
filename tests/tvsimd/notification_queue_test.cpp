// The bounds of what waits for a client: one client's queue, and every
// client's together, where the largest goes. A post past a bound empties the
// client's queue and names it for the bus thread to drop.
#include <notification_queue.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace tvsimd {
namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

TEST(NotificationQueue, AQueuePastItsBoundOrTheLargestPastTheTotalIsEmptiedAndNamed) {
    NotificationQueue queue;
    const auto nothing = [] {};
    queue.postTo(":1.1", nothing, 40 * kMiB);
    queue.postTo(":1.1", nothing, 30 * kMiB);  // one client past 64 MiB
    EXPECT_EQ(queue.waitingCount(":1.1"), 0u);
    for (const char* client : {":1.2", ":1.3", ":1.4", ":1.5", ":1.6"}) {
        queue.postTo(client, nothing, 50 * kMiB);
    }
    queue.postTo(":1.4", nothing, 10 * kMiB);  // 260 MiB in all: :1.4 holds the most, 60 MiB
    std::vector<std::string> named;
    for (const NotificationQueue::Overflow& overflow : queue.takeOverflowed()) {
        named.push_back(overflow.client);
    }
    EXPECT_EQ(named, (std::vector<std::string>{":1.1", ":1.4"}));
    queue.postTo(":1.4", nothing, 1);
    EXPECT_EQ(queue.waitingClients(""), (std::vector<std::string>{":1.2", ":1.3", ":1.5", ":1.6"}))
        << "posts to :1.4 are discarded";
}

}  // namespace
}  // namespace tvsimd
