#include "record_waits.h"

#include "bus_error.h"
#include "method_support.h"

#include <algorithm>

namespace tvsimd {

using namespace tvsim::bus;  // the service's errors and message codec

RecordWaits::RecordWaits(tvsim::Simulator& simulator, tvsim::TvControl& control, Answer answer)
    : m_simulator(simulator), m_control(control), m_answer(std::move(answer)) {}

RecordWaits::~RecordWaits() {
    while (!m_waits.empty()) {
        drop(m_waits.begin());
    }
    sd_event_source_unref(m_post);
}

void RecordWaits::attach(sd_event* event) {
    m_event = event;
    check(sd_event_add_post(event, &m_post, &RecordWaits::onPost, this), "add the record waits' post source");
}

int RecordWaits::start(sd_bus_message* call, const tvsim::RecordPattern& pattern, std::chrono::milliseconds timeout) {
    const tvsim::RecordWait found = m_control.findRecord(pattern);
    if (found.found || timeout.count() == 0) {
        return m_answer(call, found);
    }
    if (m_waits.size() >= kMaxRecordWaits) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED,
                       "The service holds " + std::to_string(kMaxRecordWaits) + " waits on records already.");
    }
    auto wait = m_waits.insert(m_waits.end(), Wait{sd_bus_message_ref(call), pattern, senderOf(call)});
    const auto usec = static_cast<std::uint64_t>(std::chrono::microseconds(timeout).count());
    // Within a millisecond: 0 would leave sd-event its default accuracy of 250 ms.
    const int added =
        sd_event_add_time_relative(m_event, &wait->timer, CLOCK_MONOTONIC, usec, 1000, &RecordWaits::onTimeout, this);
    if (added < 0) {
        drop(wait);
        check(added, "add a record wait's timer");
    }
    return 1;
}

void RecordWaits::clientLeft(const std::string& client) {
    for (auto wait = m_waits.begin(); wait != m_waits.end();) {
        auto next = std::next(wait);
        if (wait->client == client) {
            drop(wait);
        }
        wait = next;
    }
}

int RecordWaits::onPost(sd_event_source*, void* waits) {
    auto& self = *static_cast<RecordWaits*>(waits);
    const std::uint64_t generation = self.m_simulator.generation();
    if (self.m_waits.empty() || generation == self.m_seen) {
        return 0;
    }
    self.m_seen = generation;
    for (auto wait = self.m_waits.begin(); wait != self.m_waits.end();) {
        auto next = std::next(wait);
        const tvsim::RecordWait answer = self.m_control.findRecord(wait->pattern);
        if (answer.found) {
            self.answerAndDrop(wait, answer);
        }
        wait = next;
    }
    return 0;
}

int RecordWaits::onTimeout(sd_event_source* source, std::uint64_t, void* waits) {
    auto& self = *static_cast<RecordWaits*>(waits);
    const auto wait = std::find_if(self.m_waits.begin(), self.m_waits.end(),
                                   [source](const Wait& each) { return each.timer == source; });
    if (wait != self.m_waits.end()) {
        self.answerAndDrop(wait, self.m_control.findRecord(wait->pattern));
    }
    return 0;
}

void RecordWaits::answerAndDrop(std::list<Wait>::iterator wait, const tvsim::RecordWait& answer) {
    try {
        m_answer(wait->call, answer);
    } catch (const BusError& error) {
        sd_bus_reply_method_errorf(wait->call, error.name(), "%s", error.what());
    } catch (const std::exception& error) {
        sd_bus_reply_method_errorf(wait->call, SD_BUS_ERROR_FAILED, "%s", error.what());
    }
    drop(wait);
}

void RecordWaits::drop(std::list<Wait>::iterator wait) {
    sd_event_source_disable_unref(wait->timer);
    sd_bus_message_unref(wait->call);
    m_waits.erase(wait);
}

}  // namespace tvsimd
