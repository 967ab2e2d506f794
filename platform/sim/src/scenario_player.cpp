// The scenario player: a timeline of steps run against the TV's controls, and
// the records clients leave matched against the expectations as they arrive.
#include <tvsim/scenario_player.h>

#include "scenario_labels.h"

#include <tvsim/model_value.h>

#include <algorithm>
#include <deque>
#include <map>
#include <set>
#include <variant>

namespace tvsim {
namespace {

using std::chrono::milliseconds;

// One record of any kind, as the player saw it arrive.
struct SeenRecord {
    template <typename Record>
    explicit SeenRecord(Record kept) : record(std::move(kept)) {}

    std::variant<ClientConnect, InvokeRecord, WriteRecord> record;
    milliseconds at{0};                  // from the start
    std::uint64_t arrival = 0;           // its place among every record of the play
    std::optional<std::size_t> takenBy;  // the expectation it met
    std::string text;

    RecordPattern::Kind kind() const { return static_cast<RecordPattern::Kind>(record.index()); }
    const std::string& path() const {
        return std::visit([](const auto& kept) -> const std::string& { return kept.path; }, record);
    }
};

// The records kept for the closest records of an unmet expectation: the newest of each kind. Reports name at
// most RECORD_WAIT_CLOSEST, those at the expectation's path first.
constexpr std::size_t kMaxSeenRecords = 1000;
// The nothing-else violations a report lists; more still fail the play.
constexpr std::size_t kMaxUnexpected = 100;

}  // namespace

class ScenarioPlayer::Play {
public:
    Play(TvControl& control, ScenarioHost& host, Scenario scenario)
        : m_control(control), m_host(host), m_scenario(std::move(scenario)) {
        m_report.name = m_scenario.name;
        m_report.clientMustSucceed = m_scenario.clientMustSucceed;
        m_steps.resize(m_scenario.steps.size());
        for (std::size_t index = 0; index < m_scenario.steps.size(); ++index) {
            const ScenarioStep& step = m_scenario.steps[index];
            m_report.steps.push_back({stepLabel(step, index), StepReport::State::Pending, {}, {}, {}});
            if (!step.id.empty()) {
                m_ids.emplace(step.id, Anchor{true, index});
            }
        }
        std::map<std::string, std::string> lastGroups;  // sequence -> the group of its last expectation
        for (std::size_t index = 0; index < m_scenario.expectations.size(); ++index) {
            const ScenarioExpectation& expectation = m_scenario.expectations[index];
            ExpectationReport report;
            report.label = expectationLabel(expectation, index);
            m_report.expectations.push_back(std::move(report));
            m_matchers.push_back(std::make_unique<RecordMatcher>(expectation.pattern));
            if (!expectation.id.empty()) {
                m_ids.emplace(expectation.id, Anchor{false, index});
            }
            Sequence& sequence = m_sequences[expectation.sequence];
            const auto last = lastGroups.find(expectation.sequence);
            if (expectation.group.empty() || last == lastGroups.end() || last->second != expectation.group) {
                sequence.units.emplace_back();
            }
            sequence.units.back().push_back(index);
            lastGroups[expectation.sequence] = expectation.group;
            m_units.push_back(sequence.units.size() - 1);
        }
        m_actionIds.resize(m_scenario.expectations.size());
        m_nothingElse.insert(m_scenario.nothingElse.begin(), m_scenario.nothingElse.end());
    }

    void start(Clock::time_point now) {
        m_control.clearRecords();
        switch (m_scenario.tv.kind) {
            case ScenarioTv::Kind::Default:
                break;
            case ScenarioTv::Kind::File:
                m_control.loadModel(m_scenario.tv.file);
                break;
            case ScenarioTv::Kind::Content:
                m_control.loadModelText(m_scenario.tv.content, m_scenario.tv.name);
                break;
        }
        m_start = now;
        m_started = true;
    }

    std::optional<Clock::time_point> advance(Clock::time_point now) {
        if (!m_started || m_report.finished) {
            return std::nullopt;
        }
        const milliseconds at = sinceStart(now);
        m_report.elapsed = at;
        readRecords();
        closeWindows(at);
        if (m_clientEndedAt) {
            finish(at, "the client ended at " + secondsText(*m_clientEndedAt));
            return std::nullopt;
        }
        if (at >= m_scenario.timeLimit) {
            finish(at, "the time limit came at " + secondsText(m_scenario.timeLimit));
            return std::nullopt;
        }
        runDueSteps(at);
        if (settled()) {
            finish(at, "");
            return std::nullopt;
        }
        return m_start + nextLook();
    }

    void clientEnded(int status, Clock::time_point now) {
        m_report.clientStatus = status;
        m_clientEndedAt = sinceStart(now);
    }

    void stop(Clock::time_point now) {
        if (m_started && !m_report.finished) {
            readRecords();
            finish(sinceStart(now), "the play was stopped at " + secondsText(sinceStart(now)));
        }
    }

    const ScenarioReport& report() const { return m_report; }

private:
    // A step or an expectation an `after` names.
    struct Anchor {
        bool step;
        std::size_t index;
    };
    struct StepProgress {
        std::optional<milliseconds> endsAt;  // a wait or a platform-away in progress
    };
    struct Sequence {
        std::vector<std::vector<std::size_t>> units;  // expectations by unit, a group being one unit
        std::size_t current = 0;                      // the unit records may meet now
    };

    milliseconds sinceStart(Clock::time_point time) const {
        return std::max(milliseconds(0), std::chrono::duration_cast<milliseconds>(time - m_start));
    }

    // ---- The records ----

    void readRecords() {
        NewRecords records = m_control.recordsSince(m_cursor);
        m_cursor = records.next;
        std::vector<SeenRecord> arrived;
        for (ClientConnect& connect : records.connects) {
            arrived.emplace_back(std::move(connect));
        }
        for (InvokeRecord& invoke : records.invokes) {
            arrived.emplace_back(std::move(invoke));
        }
        for (WriteRecord& write : records.writes) {
            arrived.emplace_back(std::move(write));
        }
        const auto timeOf = [](const SeenRecord& seen) {
            return std::visit([](const auto& record) { return recordTime(record); }, seen.record);
        };
        std::stable_sort(arrived.begin(), arrived.end(),
                         [&](const SeenRecord& left, const SeenRecord& right) { return timeOf(left) < timeOf(right); });
        for (SeenRecord& record : arrived) {
            record.at = sinceStart(timeOf(record));
            record.arrival = m_arrivals++;
            record.text = recordText(record.record);
            take(record);
            std::deque<SeenRecord>& kept = m_seen[static_cast<std::size_t>(record.kind())];
            kept.push_back(std::move(record));
            if (kept.size() > kMaxSeenRecords) {
                kept.pop_front();
            }
        }
    }

    static Clock::time_point recordTime(const ClientConnect& connect) { return connect.at; }
    static Clock::time_point recordTime(const InvokeRecord& invoke) { return invoke.invokedAt; }
    static Clock::time_point recordTime(const WriteRecord& write) { return write.at; }

    // The first expectation, in the order listed, that the record meets.
    void take(SeenRecord& record) {
        for (std::size_t index = 0; index < m_scenario.expectations.size(); ++index) {
            if (m_report.expectations[index].state == ExpectationReport::State::Pending &&
                m_scenario.expectations[index].pattern.kind == record.kind() && !mismatch(index, record) &&
                !windowMiss(index, record.at) && !orderMiss(index, record)) {
                meet(index, record);
                return;
            }
        }
        const auto* invoke = std::get_if<InvokeRecord>(&record.record);
        if (invoke != nullptr && m_nothingElse.count(invoke->path) != 0) {
            if (m_report.unexpected.size() < kMaxUnexpected) {
                m_report.unexpected.push_back(record.text);
            }
            m_unexpected = true;
        }
    }

    void meet(std::size_t index, SeenRecord& record) {
        ExpectationReport& report = m_report.expectations[index];
        report.state = ExpectationReport::State::Met;
        report.metAt = record.at;
        report.record = record.text;
        record.takenBy = index;
        m_metBy[index] = record.arrival;
        if (const auto* invoke = std::get_if<InvokeRecord>(&record.record)) {
            m_actionIds[index] = invoke->actionId;
        }
        Sequence& sequence = m_sequences[m_scenario.expectations[index].sequence];
        const std::vector<std::size_t>& unit = sequence.units[sequence.current];
        if (std::all_of(unit.begin(), unit.end(), [&](std::size_t member) { return m_metBy.count(member) != 0; })) {
            ++sequence.current;
        }
    }

    std::optional<std::string> mismatch(std::size_t index, const SeenRecord& record) const {
        return std::visit([&](const auto& kept) { return m_matchers[index]->mismatch(kept); }, record.record);
    }

    // ---- Windows and order ----

    // When the step ran or the expectation was met; nullopt while it has not.
    std::optional<milliseconds> anchorTime(const std::string& id) const {
        const Anchor anchor = m_ids.at(id);
        return anchor.step ? m_report.steps[anchor.index].ranAt : m_report.expectations[anchor.index].metAt;
    }

    std::string anchorName(const std::string& id) const {
        return "'" + id + "' " + (m_ids.at(id).step ? "ran" : "was met");
    }

    // The window's bounds from the start, once its anchor came.
    std::optional<std::pair<milliseconds, milliseconds>> window(std::size_t index) const {
        const ScenarioWindow& window = m_scenario.expectations[index].window;
        const std::optional<milliseconds> anchor =
            window.after.empty() ? std::optional<milliseconds>(0) : anchorTime(window.after);
        if (!anchor) {
            return std::nullopt;
        }
        return std::pair{*anchor + window.from, window.to ? *anchor + *window.to : m_scenario.timeLimit};
    }

    // Why a record at this time misses the expectation's window: "too early: ...", "too late: ...".
    std::optional<std::string> windowMiss(std::size_t index, milliseconds at) const {
        const ScenarioWindow& spec = m_scenario.expectations[index].window;
        const auto bounds = window(index);
        if (!bounds || (!spec.after.empty() && at < *anchorTime(spec.after))) {
            return "too early: at " + secondsText(at) + ", before " + anchorName(spec.after);
        }
        if (at < bounds->first) {
            return "too early: at " + secondsText(at) + ", the window opened at " + secondsText(bounds->first);
        }
        if (at > bounds->second) {
            return "too late: at " + secondsText(at) + ", the window ended at " + secondsText(bounds->second);
        }
        return std::nullopt;
    }

    // Why the record comes too soon for the expectation's place in its sequence: it came before the unit
    // before the expectation's own was met, that is before the record that met the last of that unit's members.
    std::optional<std::string> orderMiss(std::size_t index, const SeenRecord& record) const {
        const std::size_t unit = m_units[index];
        if (unit == 0) {
            return std::nullopt;
        }
        const std::vector<std::size_t>& previous =
            m_sequences.at(m_scenario.expectations[index].sequence).units[unit - 1];
        std::size_t last = previous.front();
        for (std::size_t member : previous) {
            const auto met = m_metBy.find(member);
            if (met == m_metBy.end()) {
                last = member;
                break;
            }
            last = met->second > m_metBy.at(last) ? member : last;
        }
        const auto met = m_metBy.find(last);
        if (met != m_metBy.end() && met->second < record.arrival) {
            return std::nullopt;
        }
        return "out of order: before " + expectationName(m_scenario.expectations, last) + " was met";
    }

    void closeWindows(milliseconds at) {
        for (std::size_t index = 0; index < m_scenario.expectations.size(); ++index) {
            const auto bounds = window(index);
            if (m_report.expectations[index].state == ExpectationReport::State::Pending && bounds &&
                at > bounds->second) {
                unmet(index, "the window ended at " + secondsText(bounds->second));
            }
        }
    }

    void unmet(std::size_t index, std::string reason) {
        ExpectationReport& report = m_report.expectations[index];
        report.state = ExpectationReport::State::Unmet;
        report.reason = std::move(reason);
        const RecordPattern& pattern = m_scenario.expectations[index].pattern;
        std::vector<const SeenRecord*> candidates;
        for (const SeenRecord& record : m_seen[static_cast<std::size_t>(pattern.kind)]) {
            candidates.push_back(&record);
        }
        std::reverse(candidates.begin(), candidates.end());
        std::stable_partition(candidates.begin(), candidates.end(),
                              [&](const SeenRecord* record) { return record->path() == pattern.path; });
        candidates.resize(std::min(candidates.size(), RECORD_WAIT_CLOSEST));
        for (const SeenRecord* record : candidates) {
            std::optional<std::string> why = mismatch(index, *record);
            why = why ? why : windowMiss(index, record->at);
            why = why ? why : orderMiss(index, *record);
            if (!why && record->takenBy) {
                why = "taken by " + expectationName(m_scenario.expectations, *record->takenBy);
            }
            report.closest.push_back({record->text, why.value_or("it came after the expectation was decided")});
        }
    }

    // ---- Steps ----

    std::optional<milliseconds> dueTime(std::size_t index) const {
        const ScenarioStep& step = m_scenario.steps[index];
        if (step.after.empty()) {
            return step.at;
        }
        const std::optional<milliseconds> anchor = anchorTime(step.after);
        return anchor ? std::optional<milliseconds>(*anchor + step.at) : std::nullopt;
    }

    // Until no step is due: one that runs may make another due at once (an `after` with no delay).
    void runDueSteps(milliseconds at) {
        for (bool ran = true; ran;) {
            ran = false;
            for (std::size_t index = 0; index < m_steps.size(); ++index) {
                StepReport& report = m_report.steps[index];
                if (report.state != StepReport::State::Pending) {
                    continue;
                }
                if (m_steps[index].endsAt) {
                    if (*m_steps[index].endsAt <= at) {
                        end(index, at);
                        ran = true;
                    }
                    continue;
                }
                report.due = dueTime(index);
                if (report.due && *report.due <= at) {
                    begin(index, at);
                    ran = true;
                }
            }
        }
    }

    void begin(std::size_t index, milliseconds at) {
        const ScenarioAction& action = m_scenario.steps[index].action;
        if (const auto* wait = std::get_if<WaitStep>(&action)) {
            m_steps[index].endsAt = at + wait->duration;
        } else if (const auto* away = std::get_if<PlatformAwayStep>(&action)) {
            m_host.leaveBus();
            m_steps[index].endsAt = at + away->away;
        } else {
            StepReport& report = m_report.steps[index];
            report.ranAt = at;
            try {
                perform(action);
                report.state = StepReport::State::Ran;
            } catch (const std::invalid_argument& refused) {  // ControlError, ValueJsonError
                report.state = StepReport::State::Refused;
                report.error = refused.what();
            }
        }
    }

    void end(std::size_t index, milliseconds at) {
        if (std::holds_alternative<PlatformAwayStep>(m_scenario.steps[index].action)) {
            m_host.returnToBus();
        }
        m_steps[index].endsAt.reset();
        m_report.steps[index].state = StepReport::State::Ran;
        m_report.steps[index].ranAt = at;
    }

    unsigned int actionId(const ScenarioActionId& id) const {
        if (id.expectation.empty()) {
            return id.number;
        }
        const std::optional<unsigned int> matched = m_actionIds[m_ids.at(id.expectation).index];
        if (!matched) {
            throw std::invalid_argument("'" + id.expectation + "' is not met, so there is no action id to answer.");
        }
        return *matched;
    }

    void perform(const ScenarioAction& action) {
        if (const auto* step = std::get_if<SetValueStep>(&action)) {
            m_control.setValue(step->path, parseValueJson(m_control.valueTypeAt(step->path), step->value));
        } else if (const auto* rows = std::get_if<SetRowsStep>(&action)) {
            m_control.setRows(rows->path, rows->rows);
        } else if (const auto* reply = std::get_if<SetReplyStep>(&action)) {
            m_control.setReply(reply->path, reply->reply);
        } else if (const auto* reset = std::get_if<ResetReplyStep>(&action)) {
            m_control.resetReply(reset->path);
        } else if (const auto* fault = std::get_if<FaultStep>(&action)) {
            injectFault(*fault);
        } else if (const auto* clear = std::get_if<ClearFaultsStep>(&action)) {
            m_control.clearFaults(clear->path);
        } else if (const auto* result = std::get_if<EmitResultStep>(&action)) {
            m_control.emitResult(result->path, actionId(result->actionId), result->results);
        } else if (const auto* failure = std::get_if<EmitFailureStep>(&action)) {
            m_control.emitExecutionError(failure->path, actionId(failure->actionId), failure->error);
        }
    }

    void injectFault(const FaultStep& fault) {
        switch (fault.kind) {
            case ScenarioFaultKind::FailConnects:
                m_control.failNextConnects(fault.path, fault.count, fault.status);
                break;
            case ScenarioFaultKind::NullConnects:
                m_control.nullObjectOnNextConnects(fault.path, fault.count);
                break;
            case ScenarioFaultKind::ReportType:
                m_control.reportType(fault.path, fault.type);
                break;
            case ScenarioFaultKind::FailGetter:
                m_control.failGetter(fault.path, fault.status);
                break;
            case ScenarioFaultKind::RefuseInvokes:
                m_control.refuseNextInvokes(fault.path, fault.count, fault.status);
                break;
            case ScenarioFaultKind::FailIterators:
                m_control.failNextCreateIterators(fault.path, fault.count);
                break;
        }
    }

    // ---- The end ----

    // Whether a pending step can never run: what it is due after will not come.
    bool blocked(std::size_t index, std::size_t depth = 0) const {
        const std::string& after = m_scenario.steps[index].after;
        if (after.empty() || m_steps[index].endsAt || depth > m_steps.size()) {
            return false;
        }
        const Anchor anchor = m_ids.at(after);
        if (!anchor.step) {
            return m_report.expectations[anchor.index].state == ExpectationReport::State::Unmet;
        }
        return m_report.steps[anchor.index].state == StepReport::State::Pending && blocked(anchor.index, depth + 1);
    }

    // Nothing more can happen that the report would tell: every expectation is decided and every step ran or
    // never can, and neither the client's status nor what else it asks matters.
    bool settled() const {
        if (m_scenario.clientMustSucceed || !m_nothingElse.empty()) {
            return false;
        }
        for (const ExpectationReport& expectation : m_report.expectations) {
            if (expectation.state == ExpectationReport::State::Pending) {
                return false;
            }
        }
        for (std::size_t index = 0; index < m_steps.size(); ++index) {
            if (m_report.steps[index].state == StepReport::State::Pending && !blocked(index)) {
                return false;
            }
        }
        return true;
    }

    // The soonest of: a step's due time or end, a window's end (an expectation is unmet just after it), the time
    // limit.
    milliseconds nextLook() const {
        milliseconds next = m_scenario.timeLimit;
        for (std::size_t index = 0; index < m_steps.size(); ++index) {
            if (m_report.steps[index].state != StepReport::State::Pending) {
                continue;
            }
            const std::optional<milliseconds> due = m_steps[index].endsAt ? m_steps[index].endsAt : dueTime(index);
            next = due ? std::min(next, *due) : next;
        }
        for (std::size_t index = 0; index < m_scenario.expectations.size(); ++index) {
            const auto bounds = window(index);
            if (m_report.expectations[index].state == ExpectationReport::State::Pending && bounds) {
                next = std::min(next, bounds->second + milliseconds(1));
            }
        }
        return next;
    }

    void finish(milliseconds at, const std::string& reason) {
        for (std::size_t index = 0; index < m_scenario.expectations.size(); ++index) {
            if (m_report.expectations[index].state == ExpectationReport::State::Pending) {
                unmet(index, reason);
            }
        }
        for (std::size_t index = 0; index < m_steps.size(); ++index) {
            if (m_report.steps[index].state != StepReport::State::Pending) {
                continue;
            }
            if (m_steps[index].endsAt && std::holds_alternative<PlatformAwayStep>(m_scenario.steps[index].action)) {
                m_host.returnToBus();  // clients get the service back whatever the play's end
            }
            m_report.steps[index].state = StepReport::State::NotRun;
        }
        m_report.elapsed = at;
        m_report.finished = true;
        if (m_unexpected && m_report.unexpected.size() == kMaxUnexpected) {
            m_report.unexpected.back() += " (and more not listed)";
        }
    }

    TvControl& m_control;
    ScenarioHost& m_host;
    const Scenario m_scenario;
    ScenarioReport m_report;
    Clock::time_point m_start;
    bool m_started = false;
    std::optional<milliseconds> m_clientEndedAt;
    RecordCursor m_cursor;

    std::map<std::string, Anchor> m_ids;
    std::vector<StepProgress> m_steps;
    std::vector<std::unique_ptr<RecordMatcher>> m_matchers;  // by expectation
    std::map<std::string, Sequence> m_sequences;
    std::vector<std::size_t> m_units;                      // by expectation: its unit in its sequence
    std::map<std::size_t, std::uint64_t> m_metBy;          // expectation -> the arrival of the record that met it
    std::vector<std::optional<unsigned int>> m_actionIds;  // by expectation: the id of the invoke that met it
    std::set<std::string> m_nothingElse;
    bool m_unexpected = false;

    std::uint64_t m_arrivals = 0;
    std::deque<SeenRecord> m_seen[3];  // by RecordPattern::Kind, the index of SeenRecord::record's alternative
};

ScenarioPlayer::ScenarioPlayer(TvControl& control, ScenarioHost& host, Scenario scenario)
    : m_play(std::make_unique<Play>(control, host, std::move(scenario))) {}

ScenarioPlayer::~ScenarioPlayer() = default;

void ScenarioPlayer::start(Clock::time_point now) {
    m_play->start(now);
}

std::optional<ScenarioPlayer::Clock::time_point> ScenarioPlayer::advance(Clock::time_point now) {
    return m_play->advance(now);
}

void ScenarioPlayer::clientEnded(int status, Clock::time_point now) {
    m_play->clientEnded(status, now);
}

void ScenarioPlayer::stop(Clock::time_point now) {
    m_play->stop(now);
}

bool ScenarioPlayer::finished() const {
    return m_play->report().finished;
}

const ScenarioReport& ScenarioPlayer::report() const {
    return m_play->report();
}

ScenarioReport playScenario(ScenarioPlayer& player, ModelControl& model) {
    player.start(ScenarioPlayer::Clock::now());
    for (;;) {
        const std::uint64_t seen = model.generation();
        const std::optional<ScenarioPlayer::Clock::time_point> next = player.advance(ScenarioPlayer::Clock::now());
        if (!next) {
            return player.report();
        }
        model.waitForChange(seen, *next);
    }
}

}  // namespace tvsim
