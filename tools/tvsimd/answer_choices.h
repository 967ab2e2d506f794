// How each action answers when something replaced its own answer: the bus's
// Responders interface and the dashboard both record their choice here, so the
// dashboard can show it (a responder itself is an opaque function). Any thread.
#pragma once

#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <tvsim/model_control.h>

#include <map>
#include <string>

namespace tvsimd {

class AnswerChoices {
public:
    void chose(const std::string& actionPath, const tvsim::Reply& reply) SYSACCESS_EXCLUDES(m_mutex);
    void forget(const std::string& actionPath) SYSACCESS_EXCLUDES(m_mutex);  // the action answers on its own again
    std::map<std::string, tvsim::Reply> chosen() const SYSACCESS_EXCLUDES(m_mutex);

private:
    mutable velmora::base::Mutex m_mutex;
    std::map<std::string, tvsim::Reply> m_chosen SYSACCESS_GUARDED_BY(m_mutex);
};

}  // namespace tvsimd
