// The JSON library's error texts, as model-file messages show them: the
// library's own prefix and position dropped, the position given as the line of
// the document instead. Pinned by tests (json_error_text_test.cpp), so that an
// update of the library that changes a text is noticed rather than shipped.
#pragma once

#include <cstddef>
#include <string>

namespace tvsim::modelfile {

// "[json.exception.parse_error.101] parse error at line 1, column 2: <detail>" or
// "[json.exception.out_of_range.406] <detail>" gives <detail>.
std::string jsonErrorDetail(const std::string& message);

// The line of the last character nlohmann read before it gave up.
std::size_t lineOfByte(const std::string& text, std::size_t byte);

}  // namespace tvsim::modelfile
