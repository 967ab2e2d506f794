// Fuzzes the dashboard's request decoding: the first byte picks the route
// (value, fault, answer), the rest is the body. A body is either decoded or
// refused with web::ApiError status 400 and a one-line message; for a decoded
// value, each value type either takes it or refuses it the same way. Anything
// else escaping, a crash or a sanitizer report is a finding.
#include <api_requests.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace {

void require(bool condition) {
    if (!condition) {
        __builtin_trap();
    }
}

template <typename Decode>
void decodeOrRefuse(Decode decode) {
    try {
        decode();
    } catch (const tvsimd::web::ApiError& error) {
        require(error.status() == 400);
        const std::string body = tvsimd::web::errorBody(error.what());
        require(body.find('\n') == std::string::npos);
        require(nlohmann::json::parse(body).at("error").is_string());
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string_view body(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 3) {
        case 0:
            decodeOrRefuse([&] {
                const tvsimd::web::SetValueRequest request = tvsimd::web::decodeSetValue(body);
                require(!request.path.empty());
                for (int type = 0; type <= static_cast<int>(tvsim::ValueType::STRING_VECTOR); ++type) {
                    decodeOrRefuse([&] {
                        const tvsim::ValueType valueType = static_cast<tvsim::ValueType>(type);
                        require(tvsim::valueTypeOf(tvsimd::web::decodeValue(valueType, request.value)) == valueType);
                    });
                }
            });
            break;
        case 1:
            decodeOrRefuse([&] {
                const tvsimd::web::FaultRequest request = tvsimd::web::decodeFault(body);
                require(tvsimd::web::isPathFault(request.kind) != request.path.empty());
            });
            break;
        default:
            decodeOrRefuse([&] {
                const tvsimd::web::AnswerRequest request = tvsimd::web::decodeAnswer(body);
                require(!request.path.empty());
            });
            break;
    }
    return 0;
}
