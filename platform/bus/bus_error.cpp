#include "bus_error.h"

#include <cstring>
#include <system_error>

namespace tvsim::bus {

SdBusFailure::SdBusFailure(const char* what, int result)
    : std::runtime_error(std::string(what) + ": " + std::generic_category().message(-result)), m_result(result) {}

int check(int result, const char* what) {
    if (result < 0) {
        throw SdBusFailure(what, result);
    }
    return result;
}

std::string busErrorName(tvsim::ControlErrorKind kind) {
    return kErrorPrefix + std::string(tvsim::controlErrorName(kind));
}

std::optional<tvsim::ControlErrorKind> controlErrorKindOf(const std::string& busErrorName) {
    for (auto kind : {tvsim::ControlErrorKind::UNKNOWN_PATH, tvsim::ControlErrorKind::WRONG_TYPE,
                      tvsim::ControlErrorKind::OUT_OF_RANGE, tvsim::ControlErrorKind::INVALID_ARGUMENT,
                      tvsim::ControlErrorKind::BAD_MODEL_FILE, tvsim::ControlErrorKind::UNKNOWN_CONNECTION}) {
        if (busErrorName == bus::busErrorName(kind)) {
            return kind;
        }
    }
    return std::nullopt;
}

int handleMethod(sd_bus_error* error, const std::function<int()>& body) {
    try {
        return body();
    } catch (const BusError& failure) {
        return sd_bus_error_set(error, failure.name(), failure.what());
    } catch (const tvsim::ControlError& refused) {
        return sd_bus_error_set(error, busErrorName(refused.kind()).c_str(), refused.what());
    } catch (const SdBusFailure& failure) {
        // A message that does not match the signature it claims ends up here.
        return sd_bus_error_set_errnof(error, -failure.result(), "%s.", failure.what());
    } catch (const std::exception& failure) {
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, failure.what());
    }
}

}  // namespace tvsim::bus
