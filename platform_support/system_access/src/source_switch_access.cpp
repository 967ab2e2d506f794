#include <system_access/source_switch_access.h>

#include <base/blog.h>
#include <base/singleton.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace velmora::system::access {

namespace {

constexpr char kSourceSwitchPath[] = "orvik.sl2.action.source.switch";
constexpr char kNoBannerPath[] = "orvik.sl2.i32.tvservice.no-banner";
constexpr char kRequester[] = "hbbtv";
constexpr int kConnectTimeoutMs = 1000;
// The id invoke fills in; this value shows that it did not.
constexpr unsigned int kNoActionId = 0xFFFFFFFF;

// Command codes of the source-switch action (argument position 1).
enum Command : int {
    COMMAND_REQUEST_RESOURCE = 2,
    COMMAND_RELEASE_RESOURCE = 3,
    COMMAND_SET_CHANNEL = 8,
    COMMAND_CHANGE_PLAYBACK_STATUS = 11,
};

// Position 5 of every channel request; the direct ones add forceShowAV at position 5 as well.
constexpr char kChannelMode[] = "2";

// Numbers the request tags of the whole process.
std::atomic<int> s_timerControlSequence{0};

std::string makeTimerControlTag() {
    const int sequence = s_timerControlSequence.fetch_add(1, std::memory_order_relaxed) + 1;
    return "ss_access_timercontrol" + std::to_string(base::currentThread()) + "_" + std::to_string(sequence);
}

lomodelapi::Argument argumentAt(int position, std::string value) {
    lomodelapi::Argument argument;
    argument.position = static_cast<std::int8_t>(position);
    argument.value = std::move(value);
    return argument;
}

std::string signedText(SourceSwitchAccess::_ResourceType type) {
    return std::to_string(static_cast<int>(type));
}

std::string unsignedText(SourceSwitchAccess::_ResourceType type) {
    return std::to_string(static_cast<unsigned int>(type));
}

const char* flagText(bool flag) {
    return flag ? "1" : "0";
}

// What became of one source-switch request. The operation logs a refusal
// itself (LOG_IF_REFUSED), so that the line carries the operation's name.
struct RequestOutcome {
    int invokeStatus = 0;  // non-zero: invoke refused the request, nothing was waited for
    bool succeeded = false;

    bool refused() const { return invokeStatus != 0; }
};

// The line an operation writes when invoke refused its request. A macro, so
// that __func__ in the line is the operation's own name.
#define LOG_IF_REFUSED(outcome)                              \
    do {                                                     \
        if ((outcome).refused()) {                           \
            BLOG_ERROR("error: %d", (outcome).invokeStatus); \
        }                                                    \
    } while (false)

// The request sequence every action operation shares: tag, command, requester
// and the operation's own arguments, invoke, wait for the outcome. `action` is
// what connectToValue answered; null ends the request before anything is sent.
RequestOutcome sendSourceSwitch(SourceSwitchAccess& service, ActionAccess* action, Command command,
                                std::vector<lomodelapi::Argument> ownArguments) {
    RequestOutcome outcome;
    if (action == nullptr) {
        return outcome;
    }
    unsigned int actionId = kNoActionId;
    std::vector<lomodelapi::Argument> arguments;
    arguments.reserve(3 + ownArguments.size());
    arguments.push_back(argumentAt(0, makeTimerControlTag()));
    arguments.push_back(argumentAt(1, std::to_string(static_cast<int>(command))));
    arguments.push_back(argumentAt(2, kRequester));
    for (lomodelapi::Argument& argument : ownArguments) {
        arguments.push_back(std::move(argument));
    }
    outcome.invokeStatus = action->invoke(actionId, arguments);
    if (outcome.refused()) {
        return outcome;
    }
    outcome.succeeded = service.waitForResult(actionId);
    return outcome;
}

}  // namespace

SourceSwitchActionHandlerImpl::SourceSwitchActionHandlerImpl(SourceSwitchAccess* owner) : m_owner(owner) {}

void SourceSwitchActionHandlerImpl::onActionResult(unsigned int actionId, const ValueObject& result) {
    m_owner->onActionResult(static_cast<int>(actionId), result);
}

void SourceSwitchActionHandlerImpl::onActionFailed(unsigned int actionId, int error) {
    m_owner->onActionFailed(static_cast<int>(actionId), error);
}

SourceSwitchAccess* SourceSwitchAccess::GetInstance() {
    return base::Singleton<SourceSwitchAccess, base::DefaultSingletonTraits<SourceSwitchAccess>,
                           SourceSwitchAccess>::get();
}

SourceSwitchAccess* SourceSwitchAccess::getInstance() {
    return GetInstance();
}

SourceSwitchAccess::SourceSwitchAccess() : m_handler(std::make_shared<SourceSwitchActionHandlerImpl>(this)) {
    BLOG_TRACE();
}

SourceSwitchAccess::~SourceSwitchAccess() {
    BLOG_TRACE();
    if (ActionAccess* action = m_actionAccess.exchange(nullptr)) {
        action->disconnect();
        delete action;
    }
    base::UniqueLock lock(&m_quietFlagMutex);
    delete m_quietFlagAccess;  // disconnects itself
    m_quietFlagAccess = nullptr;
}

// Callback thread.
void SourceSwitchAccess::onActionResult(int actionId, const ValueObject& /*result*/) {
    BLOG_TRACE();
    storeOutcome(static_cast<unsigned int>(actionId), 0);
}

// Callback thread.
void SourceSwitchAccess::onActionFailed(int actionId, int error) {
    BLOG_TRACE();
    storeOutcome(static_cast<unsigned int>(actionId), error);
}

void SourceSwitchAccess::storeOutcome(unsigned int actionId, int outcome) {
    base::UniqueLock lock(&m_resultMutex);
    if (m_expiredIds.erase(actionId) != 0) {
        return;
    }
    if (!m_results.emplace(actionId, StoredOutcome{outcome, m_nextArrival}).second) {
        return;  // a duplicate: the first copy stays
    }
    m_arrivals.emplace(m_nextArrival++, actionId);
    if (m_results.size() > kMaxUnclaimedOutcomes) {
        const auto oldest = m_results.find(m_arrivals.begin()->second);
        BLOG_ERROR("unclaimed result dropped, actionid: %d  err : %d", static_cast<int>(oldest->first),
                   oldest->second.outcome);
        m_results.erase(oldest);
        m_arrivals.erase(m_arrivals.begin());
    }
    m_resultCondition.notify_all();
}

void SourceSwitchAccess::setResultTimeout(int timeoutMs) {
    m_resultTimeoutMs.store(timeoutMs);
}

// Every broadcast wakes every waiter, so each pass looks for its own id again;
// an outcome stored before the wait began is found on the first pass.
bool SourceSwitchAccess::waitForResult(unsigned int actionId) {
    BLOG_TRACE();
    BLOG_ALWAYS("waiting result ...  for  actionid: %d", static_cast<int>(actionId));
    const int timeoutMs = m_resultTimeoutMs.load();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    base::UniqueLock lock(&m_resultMutex);
    bool timedOut = false;
    int outcome = 0;
    for (int pass = 1;; ++pass) {
        BLOG_ALWAYS("waiting result ...  %03d   actionid: %d", pass, static_cast<int>(actionId));
        auto found = m_results.find(actionId);
        if (found != m_results.end()) {
            outcome = found->second.outcome;
            m_arrivals.erase(found->second.arrival);
            m_results.erase(found);
            break;
        }
        if (timedOut) {
            m_expiredIds.insert(actionId);
            m_expiryOrder.push_back(actionId);
            if (m_expiryOrder.size() > kMaxUnclaimedOutcomes) {
                m_expiredIds.erase(m_expiryOrder.front());
                m_expiryOrder.pop_front();
            }
            BLOG_ERROR("waiting timed out after %d ms, actionid: %d", timeoutMs, static_cast<int>(actionId));
            return false;
        }
        if (timeoutMs > 0) {
            timedOut = !m_resultCondition.wait_until(lock, deadline);
        } else {
            m_resultCondition.wait(lock);
        }
    }
    BLOG_ALWAYS("waiting done. %d  : err : %d", static_cast<int>(actionId), outcome);
    return outcome == 0;
}

ActionAccess* SourceSwitchAccess::connectToValue(std::string path) {
    BLOG_TRACE();
    if (ActionAccess* connected = m_actionAccess.load(std::memory_order_acquire)) {
        return connected;
    }
    base::UniqueLock lock(&m_actionAccessMutex);
    // Another thread may have connected while this one waited for the lock.
    if (ActionAccess* connected = m_actionAccess.load(std::memory_order_acquire)) {
        return connected;
    }
    BLOG_INFO("Connecting To Value: %s  ", path.c_str());
    auto action = std::make_unique<ActionAccess>(path, m_handler);
    const int status = action->connect(kConnectTimeoutMs);
    if (status != 0) {
        BLOG_ERROR("Error connect value : %s,  status: %d", path.c_str(), status);
        return nullptr;
    }
    m_actionAccess.store(action.get(), std::memory_order_release);
    return action.release();
}

bool SourceSwitchAccess::requestResourceFromSystem(_ResourceType type) {
    BLOG_TRACE();
    const RequestOutcome outcome = sendSourceSwitch(*this, connectToValue(kSourceSwitchPath), COMMAND_REQUEST_RESOURCE,
                                                    {argumentAt(3, signedText(type))});
    LOG_IF_REFUSED(outcome);
    return outcome.succeeded;
}

bool SourceSwitchAccess::releaseResourceToSystem(_ResourceType type) {
    BLOG_TRACE();
    const RequestOutcome outcome = sendSourceSwitch(*this, connectToValue(kSourceSwitchPath), COMMAND_RELEASE_RESOURCE,
                                                    {argumentAt(3, unsignedText(type))});
    LOG_IF_REFUSED(outcome);
    return outcome.succeeded;
}

bool SourceSwitchAccess::changeDTVPlaybackStatus(_ResourceType type) {
    BLOG_TRACE();
    const RequestOutcome outcome = sendSourceSwitch(*this, connectToValue(kSourceSwitchPath),
                                                    COMMAND_CHANGE_PLAYBACK_STATUS, {argumentAt(3, signedText(type))});
    LOG_IF_REFUSED(outcome);
    return outcome.succeeded;
}

SourceSwitchAccess::_ResourceType SourceSwitchAccess::playbackStatus() const {
    const int withAudio = m_avResumed.load(std::memory_order_relaxed) ? RESOURCE_TYPE_AV : RESOURCE_TYPE_VIDEO;
    const int withPsi = m_psiResumed.load(std::memory_order_relaxed) ? RESOURCE_TYPE_PSI : 0;
    return static_cast<_ResourceType>(withAudio | withPsi);
}

bool SourceSwitchAccess::pausePSIAV() {
    BLOG_TRACE();
    m_avResumed = false;
    m_videoResumed = false;
    m_psiResumed = false;
    return true;
}

bool SourceSwitchAccess::pausePSI() {
    const bool succeeded = requestResourceFromSystem(RESOURCE_TYPE_PSI);
    if (succeeded) {
        m_psiResumed = false;
    }
    return succeeded;
}

bool SourceSwitchAccess::pauseAV() {
    BLOG_TRACE();
    BLOG_ALWAYS("enter");
    const bool succeeded = requestResourceFromSystem(RESOURCE_TYPE_AV);
    if (succeeded) {
        m_avResumed = false;
        m_videoResumed = false;
    }
    return succeeded;
}

bool SourceSwitchAccess::pauseVideo() {
    const bool succeeded = changeDTVPlaybackStatus(playbackStatus());
    if (succeeded) {
        m_videoResumed = false;
    }
    return succeeded;
}

bool SourceSwitchAccess::resumePSI() {
    BLOG_TRACE();
    const bool succeeded = releaseResourceToSystem(RESOURCE_TYPE_PSI);
    if (succeeded) {
        m_psiResumed = true;
    }
    return succeeded;
}

bool SourceSwitchAccess::resumeAV() {
    BLOG_TRACE();
    BLOG_ALWAYS("enter");
    const bool succeeded = releaseResourceToSystem(RESOURCE_TYPE_AV);
    if (succeeded) {
        m_avResumed = true;
        m_videoResumed = true;
    }
    return succeeded;
}

bool SourceSwitchAccess::resumePSIAV() {
    BLOG_TRACE();
    const bool succeeded = releaseResourceToSystem(RESOURCE_TYPE_PSI_AV);
    if (succeeded) {
        m_avResumed = true;
        m_videoResumed = true;
        m_psiResumed = true;
    }
    return succeeded;
}

bool SourceSwitchAccess::resumeVideo() {
    BLOG_TRACE();
    const bool succeeded = changeDTVPlaybackStatus(playbackStatus());
    if (succeeded) {
        m_videoResumed = true;
    }
    return succeeded;
}

int SourceSwitchAccess::setQuietFlag(int flag) {
    base::UniqueLock lock(&m_quietFlagMutex);
    if (m_quietFlagAccess == nullptr) {
        m_quietFlagAccess = new ValueAccessT<lomodelapi::ObserverNumericInteger>(kNoBannerPath);
    }
    return m_quietFlagAccess->setValue(flag);
}

bool SourceSwitchAccess::setChannelPrev() {
    BLOG_TRACE();
    const RequestOutcome outcome = sendSourceSwitch(*this, connectToValue(kSourceSwitchPath), COMMAND_SET_CHANNEL,
                                                    {argumentAt(3, "-1"), argumentAt(5, kChannelMode)});
    LOG_IF_REFUSED(outcome);
    return outcome.succeeded;
}

bool SourceSwitchAccess::setChannelNext() {
    BLOG_TRACE();
    const RequestOutcome outcome = sendSourceSwitch(*this, connectToValue(kSourceSwitchPath), COMMAND_SET_CHANNEL,
                                                    {argumentAt(3, "+1"), argumentAt(5, kChannelMode)});
    LOG_IF_REFUSED(outcome);
    return outcome.succeeded;
}

bool SourceSwitchAccess::setChannelByUUIDs(std::string channelUUID, std::string folderUUID, bool forceShowAV) {
    BLOG_TRACE();
    ActionAccess* action = connectToValue(kSourceSwitchPath);
    if (action != nullptr) {
        BLOG_INFO("channelUUID:'%s', folderUUID:'%s', forceShowAV:%d.", channelUUID.c_str(), folderUUID.c_str(),
                  forceShowAV ? 1 : 0);
    }
    const RequestOutcome outcome =
        sendSourceSwitch(*this, action, COMMAND_SET_CHANNEL,
                         {argumentAt(3, std::move(channelUUID)), argumentAt(4, std::move(folderUUID)),
                          argumentAt(5, kChannelMode), argumentAt(5, flagText(forceShowAV))});
    LOG_IF_REFUSED(outcome);
    return outcome.succeeded;
}

bool SourceSwitchAccess::setChannelByURI(std::string uri, bool forceShowAV) {
    BLOG_TRACE();
    const RequestOutcome outcome =
        sendSourceSwitch(*this, connectToValue(kSourceSwitchPath), COMMAND_SET_CHANNEL,
                         {argumentAt(3, std::move(uri)), argumentAt(4, ""), argumentAt(5, kChannelMode),
                          argumentAt(5, flagText(forceShowAV))});
    LOG_IF_REFUSED(outcome);
    return outcome.succeeded;
}

}  // namespace velmora::system::access
