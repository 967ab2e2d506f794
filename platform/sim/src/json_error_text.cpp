#include "json_error_text.h"

#include <algorithm>

namespace tvsim::modelfile {

std::string jsonErrorDetail(const std::string& message) {
    const std::size_t column = message.find(", column ");
    const std::size_t start = column == std::string::npos ? message.find("] ") : message.find(": ", column);
    return start == std::string::npos ? message : message.substr(start + 2);
}

std::size_t lineOfByte(const std::string& text, std::size_t byte) {
    const std::size_t end = std::min(text.size(), byte == 0 ? 0 : byte - 1);
    return 1 +
           static_cast<std::size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), '\n'));
}

}  // namespace tvsim::modelfile
