#include "record_waits.h"

#include "bus_error.h"
#include "method_support.h"

#include <algorithm>
#include <optional>

namespace tvsimd {

using namespace tvsim::bus;  // the service's errors and message codec
namespace {

// The first of the records at or after the sequence `from` that the matcher takes, or null. A cursor beyond
// `next` is from before the records were cleared: all of them are new.
template <typename Record>
const Record* firstSince(const tvsim::RecordMatcher& matcher, const std::vector<Record>& records, std::uint64_t from,
                         std::uint64_t next) {
    if (from > next) {
        from = 0;
    }
    const auto unseen = std::lower_bound(records.begin(), records.end(), from,
                                         [](const Record& record, std::uint64_t at) { return record.sequence < at; });
    const auto found =
        std::find_if(unseen, records.end(), [&](const Record& record) { return !matcher.mismatch(record); });
    return found == records.end() ? nullptr : &*found;
}

// A wait's answer when one of the records since the cursor matches.
std::optional<tvsim::RecordWait> matchSince(const tvsim::RecordMatcher& matcher, tvsim::RecordPattern::Kind kind,
                                            const tvsim::NewRecords& records, const tvsim::RecordCursor& cursor) {
    tvsim::RecordWait wait;
    wait.found = true;
    switch (kind) {
        case tvsim::RecordPattern::Kind::Connect:
            if (const auto* found = firstSince(matcher, records.connects, cursor.connects, records.next.connects)) {
                wait.connects.push_back(*found);
                return wait;
            }
            break;
        case tvsim::RecordPattern::Kind::Invoke:
            if (const auto* found = firstSince(matcher, records.invokes, cursor.invokes, records.next.invokes)) {
                wait.invokes.push_back(*found);
                return wait;
            }
            break;
        case tvsim::RecordPattern::Kind::Write:
            if (const auto* found = firstSince(matcher, records.writes, cursor.writes, records.next.writes)) {
                wait.writes.push_back(*found);
                return wait;
            }
            break;
    }
    return std::nullopt;
}

}  // namespace

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
    if (timeout.count() == 0) {
        return m_answer(call, m_control.findRecord(pattern));
    }
    const tvsim::NewRecords kept = m_control.recordsSince({});
    if (auto found = matchSince(tvsim::RecordMatcher(pattern), pattern.kind, kept, {})) {
        return m_answer(call, *found);
    }
    if (m_waits.size() >= kMaxRecordWaits) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED,
                       "The service holds " + std::to_string(kMaxRecordWaits) + " waits on records already.");
    }
    auto wait =
        m_waits.insert(m_waits.end(), Wait{sd_bus_message_ref(call), pattern, senderOf(call), kept.next, nullptr});
    wait->matcher = std::make_unique<tvsim::RecordMatcher>(wait->pattern);
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
    const tvsim::NewRecords records = self.m_control.recordsSince(self.oldestCursor());
    for (auto wait = self.m_waits.begin(); wait != self.m_waits.end();) {
        auto next = std::next(wait);
        if (auto answer = matchSince(*wait->matcher, wait->pattern.kind, records, wait->cursor)) {
            self.answerAndDrop(wait, *answer);
        } else {
            wait->cursor = records.next;
        }
        wait = next;
    }
    return 0;
}

tvsim::RecordCursor RecordWaits::oldestCursor() const {
    tvsim::RecordCursor oldest = m_waits.front().cursor;
    for (const Wait& wait : m_waits) {
        oldest.connects = std::min(oldest.connects, wait.cursor.connects);
        oldest.invokes = std::min(oldest.invokes, wait.cursor.invokes);
        oldest.writes = std::min(oldest.writes, wait.cursor.writes);
    }
    return oldest;
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
    replyKeptCall(wait->call, [&] { return m_answer(wait->call, answer); });
    drop(wait);
}

void RecordWaits::drop(std::list<Wait>::iterator wait) {
    sd_event_source_disable_unref(wait->timer);
    sd_bus_message_unref(wait->call);
    m_waits.erase(wait);
}

}  // namespace tvsimd
