// demo: a narrated run of the typical requests of the web engine against the
// default model, showing what each request sent and what came back.
#include "commands.h"
#include "source_operations.h"
#include "tables.h"
#include "values.h"

#include <algorithm>

namespace sactl {
namespace {

constexpr const char* kNoBanner = "orvik.sl2.i32.tvservice.no-banner";
constexpr const char* kVolume = "orvik.sl2.i32.audio.volume";
constexpr const char* kChannelName = "orvik.sl2.str.tvservice.channel-name";
constexpr const char* kChannels = "orvik.sl2.table.channels";

class Demo {
public:
    explicit Demo(Session& session) : m_session(session) {}

    void run() {
        noBanner();
        watchVolume();
        pauseAndResumeAV();
        const TableContents channels = channelTable();
        switchChannels(channels);
    }

private:
    void narrate(const std::string& text) const { m_session.out().narrate(text); }

    void source(const std::string& name, const std::vector<std::string>& arguments = {}) {
        printSourceReport(m_session, runSourceOperation(m_session, name, arguments));
    }

    void noBanner() {
        narrate("== 1. The no-banner value, read through ValueAccessT<ObserverNumericInteger>");
        printValue(m_session, kNoBanner, readValue(m_session, kNoBanner));
        narrate("SourceSwitchAccess::setQuietFlag writes it (a value write: no action is invoked)");
        source("setQuietFlag", {"1"});
        printValue(m_session, kNoBanner, readValue(m_session, kNoBanner));
    }

    void watchVolume() {
        narrate("== 2. Watching the volume while another client writes it; the change arrives on the callback thread");
        ValueWatcher watcher(m_session, {kVolume});
        printValue(m_session, kVolume, watcher.initialValues().front().value, "initial ");
        narrate("another accessor writes 30");
        writeValue(m_session, kVolume, 30);
        printChanges(watcher);
    }

    void pauseAndResumeAV() {
        narrate("== 3. Pausing and resuming AV: the web engine takes audio and video, then hands them back");
        source("pauseAV");
        source("resumeAV");
    }

    TableContents channelTable() {
        narrate("== 4. The channel list, read through IteratorAccess");
        TableContents table = readTable(m_session, kChannels);
        printTable(m_session, kChannels, table);
        return table;
    }

    void switchChannels(const TableContents& channels) {
        narrate("== 5. Switching channels; the channel name follows on the callback thread");
        const tvsim::Row& byUri = row(channels, 4);
        const tvsim::Row& byUuids = row(channels, 10);
        ValueWatcher watcher(m_session, {kChannelName});
        const std::vector<std::pair<std::string, std::vector<std::string>>> requests = {
            {"setChannelNext", {}},
            {"setChannelPrev", {}},
            {"setChannelByURI", {cell(channels, byUri, "uri"), "1"}},
            {"setChannelByUUIDs", {cell(channels, byUuids, "uuid"), cell(channels, byUuids, "folder-uuid"), "0"}},
        };
        for (const auto& request : requests) {
            source(request.first, request.second);
            printChanges(watcher);
        }
        narrate("A URI the TV does not know: the request fails and nothing changes");
        source("setChannelByURI", {"dvb://0.0.0", "1"});
    }

    void printChanges(ValueWatcher& watcher) {
        m_session.flushNotifications();
        for (const ValueWatcher::Change& change : watcher.takeChanges()) {
            printValue(m_session, change.path, change.value, "notified ", {{"event", "changed"}});
        }
    }

    static const tvsim::Row& row(const TableContents& table, std::size_t index) {
        if (index >= table.rows.size()) {
            throw CommandError("the demo needs at least " + std::to_string(index + 1) + " channels in " + kChannels);
        }
        return table.rows[index];
    }

    static std::string cell(const TableContents& table, const tvsim::Row& row, const std::string& column) {
        auto found = std::find(table.columns.begin(), table.columns.end(), column);
        if (found == table.columns.end()) {
            throw CommandError(std::string("the demo needs the column '") + column + "' in " + kChannels);
        }
        return row.at(static_cast<std::size_t>(found - table.columns.begin()));
    }

    Session& m_session;
};

}  // namespace

void addDemoCommand(Commands& commands) {
    commands.add(commands.app(), "demo",
                 "a narrated run of the typical requests on the default model: values, a watched change, "
                 "pause and resume AV, the channel table and every channel operation",
                 [](Session& session) { Demo(session).run(); });
}

}  // namespace sactl
