// ValueAccessT<Observer>: an accessor for one model value of one type, and the
// observer the platform notifies when that value changes. Five instantiations:
//   ValueAccessT<lomodelapi::ObserverNumericInteger>        integer values (type 1)
//   ValueAccessT<lomodelapi::ObserverNumericInt64>          64-bit values (type 8)
//   ValueAccessT<lomodelapi::ObserverString>                strings (type 2)
//   ValueAccessT<lomodelapi::ObserverVectorNumericInteger>  integer lists (type 3)
//   ValueAccessT<lomodelapi::ObserverVectorString>          string lists (type 4)
//
// Threads: the notify operations run on the platform's callback thread and hand
// a ValueObject to the ValueHandler there, with no library lock held. The
// destructor disconnects, after which the platform makes no further call.
#pragma once

#include <system_access/value_access_base.h>

#include <lomodelapi/observer.h>

namespace velmora::system::access {

// Each instantiation overrides exactly one of the five notify operations, so
// none of them can carry `override`; clang would flag the inconsistency.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Winconsistent-missing-override"
#endif

template <typename Observer>
class SYSTEM_ACCESS_EXPORT ValueAccessT : public ValueAccessBase, public Observer {
public:
    explicit ValueAccessT(std::string path);
    ValueAccessT(std::string path, std::shared_ptr<ValueHandler> handler);
    ~ValueAccessT() override;

    int connect(int timeoutMs) override;
    int disconnect() override;

    // The one matching the observer base is the platform's; the others are
    // reached only by a direct call and hand over their own kind unchanged.
    // Which one overrides depends on Observer, so none can say override.
    // NOLINTBEGIN(modernize-use-override)
    virtual void notifyNewValue(int value);
    virtual void notifyNewValue(long long value);
    virtual void notifyNewValue(const std::string& value);
    virtual void notifyIntegerVector(const std::vector<int>& values);
    virtual void notifyStringVector(const std::vector<std::string>& values);
    // NOLINTEND(modernize-use-override)

private:
    template <typename Native>
    void forward(const Native& value);
};

extern template class ValueAccessT<lomodelapi::ObserverNumericInteger>;
extern template class ValueAccessT<lomodelapi::ObserverNumericInt64>;
extern template class ValueAccessT<lomodelapi::ObserverString>;
extern template class ValueAccessT<lomodelapi::ObserverVectorNumericInteger>;
extern template class ValueAccessT<lomodelapi::ObserverVectorString>;

#if defined(__clang__)
#pragma clang diagnostic pop
#endif

}  // namespace velmora::system::access
