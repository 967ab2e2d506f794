#include <tvsim/tv_control.h>

namespace tvsim {

ValueType TvControl::valueTypeAt(const std::string& path) {
    const lomodelapi::ObjectTypeSpec type = typeAt(path);
    ValueType valueType{};
    if (!valueTypeOfObject(type, valueType)) {
        throw ControlError::wrongType(path, type, "a value");
    }
    return valueType;
}

void TvControl::requireType(const std::string& path, lomodelapi::ObjectTypeSpec expected) {
    const lomodelapi::ObjectTypeSpec type = typeAt(path);
    if (type != expected) {
        throw ControlError::wrongType(path, type, describeObjectType(expected));
    }
}

}  // namespace tvsim
