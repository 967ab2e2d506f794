#include "answer_choices.h"

#include <base/synchronization/unique_lock.h>

namespace tvsimd {

void AnswerChoices::chose(const std::string& actionPath, const tvsim::Reply& reply) {
    velmora::base::UniqueLock lock(&m_mutex);
    m_chosen[actionPath] = reply;
}

void AnswerChoices::forget(const std::string& actionPath) {
    velmora::base::UniqueLock lock(&m_mutex);
    m_chosen.erase(actionPath);
}

std::map<std::string, tvsim::Reply> AnswerChoices::chosen() const {
    velmora::base::UniqueLock lock(&m_mutex);
    return m_chosen;
}

}  // namespace tvsimd
