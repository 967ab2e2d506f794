// The Records interface's waits in progress: each keeps its method call and
// answers it later, from the bus thread, when a record it matches is kept or
// at its time-out, so a wait never holds up the bus thread. Bus thread only.
//
// After every turn of the event loop that dispatched something (an sd-event
// post source) the waits look again if the simulator's generation moved; the
// records a tvsimd client adds come in on the bus thread, so a wait answers
// in the turn that recorded what it waits for. Each wait keeps where it got
// to in the records: a look copies the records since the oldest wait's place
// once, and each wait matches only those it has not seen.
#pragma once

#include <tvsim/record_pattern.h>
#include <tvsim/simulator.h>
#include <tvsim/tv_control.h>

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>

namespace tvsimd {

// How many waits the service keeps in progress at once, over every client; one more is refused
// (org.freedesktop.DBus.Error.LimitsExceeded).
constexpr std::size_t kMaxRecordWaits = 64;

class RecordWaits {
public:
    // answer sends a wait's reply to its call.
    using Answer = std::function<int(sd_bus_message* call, const tvsim::RecordWait& wait)>;

    RecordWaits(tvsim::Simulator& simulator, tvsim::TvControl& control, Answer answer);
    ~RecordWaits();  // drops every wait unanswered

    RecordWaits(const RecordWaits&) = delete;
    RecordWaits& operator=(const RecordWaits&) = delete;

    void attach(sd_event* event);  // before the first start()
    // Answers now when a record matches; otherwise keeps the call until one does or the timeout.
    // The pattern and timeout are ones TvControl::checkWait took.
    int start(sd_bus_message* call, const tvsim::RecordPattern& pattern, std::chrono::milliseconds timeout);
    void clientLeft(const std::string& client);  // drops its waits: nobody reads their answers

private:
    struct Wait {
        sd_bus_message* call;
        tvsim::RecordPattern pattern;
        std::string client;
        tvsim::RecordCursor cursor;                     // the records it has not seen yet
        std::unique_ptr<tvsim::RecordMatcher> matcher;  // of `pattern`, which stays in place in the list
        sd_event_source* timer = nullptr;
    };

    static int onPost(sd_event_source* source, void* waits);
    static int onTimeout(sd_event_source* source, std::uint64_t usec, void* waits);
    tvsim::RecordCursor oldestCursor() const;
    void answerAndDrop(std::list<Wait>::iterator wait, const tvsim::RecordWait& answer);
    void drop(std::list<Wait>::iterator wait);

    tvsim::Simulator& m_simulator;
    tvsim::TvControl& m_control;
    Answer m_answer;
    sd_event* m_event = nullptr;
    sd_event_source* m_post = nullptr;
    std::uint64_t m_seen = 0;  // the generation the waits last looked at
    std::list<Wait> m_waits;
};

}  // namespace tvsimd
