// Short names for the five value accessors, and a model path of each type,
// shared by the value-access suites.
#pragma once

#include <system_access/value_access.h>

namespace testsupport::accessors {

using IntegerAccess = velmora::system::access::ValueAccessT<lomodelapi::ObserverNumericInteger>;
using Int64Access = velmora::system::access::ValueAccessT<lomodelapi::ObserverNumericInt64>;
using StringAccess = velmora::system::access::ValueAccessT<lomodelapi::ObserverString>;
using IntegerVectorAccess = velmora::system::access::ValueAccessT<lomodelapi::ObserverVectorNumericInteger>;
using StringVectorAccess = velmora::system::access::ValueAccessT<lomodelapi::ObserverVectorString>;

constexpr char kInteger[] = "test.i32.volume";
constexpr char kInt64[] = "test.i64.uptime";
constexpr char kString[] = "test.str.channel-name";
constexpr char kIntegerVector[] = "test.vi32.favourites";
constexpr char kStringVector[] = "test.vstr.audio-languages";

}  // namespace testsupport::accessors
