// SourceSwitchAccess: the process-wide service through which the web engine
// takes the TV's broadcast resources (video, audio and video, PSI) from the
// system and hands them back, pauses and resumes broadcast playback, switches
// channels and sets the no-banner flag.
//
// Every request except setQuietFlag and pausePSIAV invokes the action
// "orvik.sl2.action.source.switch" (connected on first use) and blocks the
// calling thread until the platform reports that invocation's outcome; the
// operation answers true when the platform reported success. There is no time
// limit unless setResultTimeout sets one.
//
// Threads: any client thread may call any operation, several at once; each
// waits for its own action id. onActionResult and onActionFailed run on the
// platform's callback thread (through SourceSwitchActionHandlerImpl): they
// store the outcome under the service's mutex and wake the waiters, and touch
// nothing else.
#pragma once

#include <system_access/action_access.h>
#include <system_access/export.h>
#include <system_access/value_access.h>

#include <base/singleton.h>
#include <base/synchronization/condition_variable.h>
#include <base/synchronization/mutex.h>
#include <base/synchronization/unique_lock.h>
#include <base/thread_annotations.h>

#include <lomodelapi/observer.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>

namespace velmora::system::access {

class SourceSwitchAccess;

// Forwards the source-switch action's outcomes into the service. Runs on the
// platform's callback thread.
class SYSTEM_ACCESS_EXPORT SourceSwitchActionHandlerImpl final : public ActionHandler {
public:
    explicit SourceSwitchActionHandlerImpl(SourceSwitchAccess* owner);

    void onActionResult(unsigned int actionId, const ValueObject& result) override;
    void onActionFailed(unsigned int actionId, int error) override;

private:
    SourceSwitchAccess* m_owner;  // not owned: the service that created this handler
};

class SYSTEM_ACCESS_EXPORT SourceSwitchAccess {
public:
    // Bit sets; a playback status may also combine them as 5 (video and PSI).
    // NOLINTNEXTLINE(bugprone-reserved-identifier): the name clients already use; it cannot change.
    enum _ResourceType : int {
        RESOURCE_TYPE_VIDEO = 1,
        RESOURCE_TYPE_AV = 3,
        RESOURCE_TYPE_PSI = 4,
        RESOURCE_TYPE_PSI_AV = 7,
    };

    // The singleton, created by the first call from any thread and never destroyed.
    static SourceSwitchAccess* GetInstance();
    static SourceSwitchAccess* getInstance();

    // Disconnects and frees the accessors. The singleton is never destroyed;
    // only instances made directly through the traits are.
    ~SourceSwitchAccess();

    SourceSwitchAccess(const SourceSwitchAccess&) = delete;
    SourceSwitchAccess& operator=(const SourceSwitchAccess&) = delete;

    // How many unclaimed outcomes, and how many ids whose wait timed out, the
    // service keeps: the most recent ones. An outcome nobody waits for (an
    // unknown id, a duplicate whose first copy was taken) is kept, since its
    // waiter may still come (it can arrive before invoke returns the id), until
    // it is the oldest of more than this many; it is then dropped with one error
    // line. The oldest expired id beyond this many is forgotten silently.
    static constexpr std::size_t kMaxUnclaimedOutcomes = 1024;

    // Outcomes, stored for the waiter of `actionId` (callback thread). The first
    // outcome stored for an id wins; a late one for an id whose wait has timed
    // out is discarded.
    void onActionResult(int actionId, const ValueObject& result);
    void onActionFailed(int actionId, int error);
    // Blocks until the outcome of `actionId` is stored, consumes it, and answers
    // true when it is 0. With a time limit set, false once the limit is reached.
    bool waitForResult(unsigned int actionId);
    // The connected action accessor, connected on first use (1000 ms); null when
    // that fails, in which case the next call tries again from scratch.
    ActionAccess* connectToValue(std::string path);

    // Resource requests: command codes 2, 3 and 11 with the type at position 3.
    bool requestResourceFromSystem(_ResourceType type);
    bool releaseResourceToSystem(_ResourceType type);
    bool changeDTVPlaybackStatus(_ResourceType type);

    // Pause and resume, keeping the playback flags; a failed request leaves them.
    bool pausePSIAV();  // clears the flags only; sends nothing
    bool pausePSI();
    bool pauseAV();
    bool pauseVideo();
    bool resumePSI();
    bool resumeAV();
    bool resumePSIAV();
    bool resumeVideo();

    // Writes the no-banner value; answers the write's status (0, or 5/6 from connecting).
    int setQuietFlag(int flag);

    // Channel switching: command code 8.
    bool setChannelPrev();
    bool setChannelNext();
    bool setChannelByUUIDs(std::string channelUUID, std::string folderUUID, bool forceShowAV);
    bool setChannelByURI(std::string uri, bool forceShowAV);

    // Limits every later wait for an outcome to `timeoutMs`; 0 or less (the
    // default) waits without limit.
    void setResultTimeout(int timeoutMs);

private:
    // The singleton creates the service through its traits, as may tests that
    // need an instance of their own.
    friend struct base::DefaultSingletonTraits<SourceSwitchAccess>;
    SourceSwitchAccess();

    void storeOutcome(unsigned int actionId, int outcome);
    // The playback status to send: the bits the engine has handed back to the system.
    _ResourceType playbackStatus() const;

    // Published once connected, then fixed; reads need no lock.
    std::atomic<ActionAccess*> m_actionAccess{nullptr};
    ValueAccessT<lomodelapi::ObserverNumericInteger>* m_quietFlagAccess SYSACCESS_GUARDED_BY(m_quietFlagMutex) =
        nullptr;
    std::shared_ptr<SourceSwitchActionHandlerImpl> m_handler;
    struct StoredOutcome {
        int outcome;            // 0 for success
        std::uint64_t arrival;  // its key in m_arrivals
    };
    std::map<unsigned int, StoredOutcome> m_results SYSACCESS_GUARDED_BY(m_resultMutex);  // by action id
    // The ids of m_results, oldest first.
    std::map<std::uint64_t, unsigned int> m_arrivals SYSACCESS_GUARDED_BY(m_resultMutex);
    std::uint64_t m_nextArrival SYSACCESS_GUARDED_BY(m_resultMutex) = 0;
    base::ConditionVariable m_resultCondition;  // broadcast on every stored outcome
    base::Mutex m_resultMutex;
    // What the engine has handed back to the system. Atomic only so that
    // concurrent pause/resume calls are not a data race; their updates are not
    // ordered against each other.
    std::atomic<bool> m_avResumed{false};
    std::atomic<bool> m_videoResumed{false};
    std::atomic<bool> m_psiResumed{false};

    base::Mutex m_actionAccessMutex;  // one creation of m_actionAccess under concurrent first use
    // Serialises setQuietFlag: the no-banner accessor connects on demand, which must not run twice at once.
    base::Mutex m_quietFlagMutex;
    std::atomic<int> m_resultTimeoutMs{0};
    // Ids whose wait timed out: their late outcome is dropped instead of kept.
    std::set<unsigned int> m_expiredIds SYSACCESS_GUARDED_BY(m_resultMutex);
    // The ids as they expired, oldest first (some may have had their late outcome since).
    std::deque<unsigned int> m_expiryOrder SYSACCESS_GUARDED_BY(m_resultMutex);
};

}  // namespace velmora::system::access
