// Observer classes through which the platform reports changes and outcomes.
// Every notification runs on the platform's callback thread.
#pragma once

#include <lomodelapi/argument.h>

#include <string>
#include <vector>

// The platform exports its classes; clients compiled with hidden visibility
// must still see them as the platform's (template instantiations over them included).
#pragma GCC visibility push(default)

namespace lomodelapi {

class Observer {
public:
    virtual ~Observer() = default;
    virtual void reservedObserverSlot() {}
};

class ObserverNumericInteger : public Observer {
public:
    virtual void notifyNewValue(int value) = 0;
};

class ObserverNumericInt64 : public Observer {
public:
    virtual void notifyNewValue(long long value) = 0;
};

class ObserverString : public Observer {
public:
    virtual void notifyNewValue(const std::string& value) = 0;
};

class ObserverVectorNumericInteger : public Observer {
public:
    virtual void notifyIntegerVector(const std::vector<int>& values) = 0;
};

class ObserverVectorString : public Observer {
public:
    virtual void notifyStringVector(const std::vector<std::string>& values) = 0;
};

class ObserverAction : public Observer {
public:
    virtual void notifyResult(unsigned int actionId, const std::vector<Argument>& results) = 0;
    virtual void notifyExecutionError(unsigned int actionId, int error) = 0;
};

class ObserverTable : public Observer {
public:
    virtual void notifyUpdate(int change) = 0;
};

class ObserverTableIterator : public Observer {
public:
    virtual void notifyCommit(int status) = 0;
    virtual void notifyTotalCount(int count) = 0;
    virtual void notifySeekToRow(int row) = 0;
    virtual void notifySeekToContent(int row) = 0;
    virtual void notifyCursorPosition(int row) = 0;
    virtual void notifyReadRow(const std::vector<std::string>& row) = 0;
    virtual void notifyReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) = 0;
    virtual void notifyIteratorReady(int status) = 0;
    virtual void notifyUpdate(int change) = 0;
};

}  // namespace lomodelapi

#pragma GCC visibility pop
