// Reading a model (or scenario) file: only a regular file, and only up to a size no TV's
// model comes near, so that a wrong path fails at once instead of blocking or
// filling the memory.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

namespace tvsim::modelfile {

// Far more than any TV's model, which with thousands of values and a channel
// list of thousands of rows takes a few hundred KiB. Checking a document costs
// memory and time in proportion to its size (some fifty bytes of memory for
// each byte of a file of empty strings, the worst case), so the bound on a model file's text (read or given) keeps a
// load to a fraction of a second and a few hundred MB: the TV service loads
// on its bus thread, which serves nothing else meanwhile.
constexpr std::size_t kMaxFileBytes = std::size_t{4} << 20;
constexpr const char* kTooLarge = "it is larger than 4 MiB, the most a model file may hold";

// A file that is not read: "PATH: cannot read the file: <why>".
class UnreadableFile : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The text of a regular file of at most 4 MiB; `what` names the kind of file in the refusal of a larger one
// ("a model file"). UnreadableFile otherwise.
std::string readBoundedFile(const std::string& path, const std::string& what);

// The file's text; anything unreadable is a ModelFileError naming the path.
std::string readModelFile(const std::string& path);

}  // namespace tvsim::modelfile
