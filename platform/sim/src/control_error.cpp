#include <tvsim/control_error.h>

#include <tvsim/model_value.h>

namespace tvsim {

const char* controlErrorName(ControlErrorKind kind) {
    switch (kind) {
        case ControlErrorKind::UNKNOWN_PATH:
            return "UnknownPath";
        case ControlErrorKind::WRONG_TYPE:
            return "WrongType";
        case ControlErrorKind::OUT_OF_RANGE:
            return "OutOfRange";
        case ControlErrorKind::INVALID_ARGUMENT:
            return "InvalidArgument";
        case ControlErrorKind::BAD_MODEL_FILE:
            return "BadModelFile";
        case ControlErrorKind::UNKNOWN_CONNECTION:
            break;
    }
    return "UnknownConnection";
}

ControlError ControlError::unknownPath(const std::string& path) {
    return ControlError(ControlErrorKind::UNKNOWN_PATH, "The model holds no object at '" + path + "'.");
}

ControlError ControlError::wrongType(const std::string& path, lomodelapi::ObjectTypeSpec actual,
                                     const std::string& needed) {
    return ControlError(ControlErrorKind::WRONG_TYPE,
                        path + " is " + describeObjectType(actual) + ", not " + needed + ".");
}

std::string describeObjectType(lomodelapi::ObjectTypeSpec type) {
    const std::string name = objectTypeName(type);
    return (name.find_first_of("aeiou") == 0 ? "an " : "a ") + name;
}

}  // namespace tvsim
