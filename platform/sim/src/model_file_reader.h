// Reading a model (or scenario) file: only a regular file, and only up to a size no TV's
// model comes near, so that a wrong path fails at once instead of blocking or
// filling the memory.
#pragma once

#include <stdexcept>
#include <string>

namespace tvsim::modelfile {

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
