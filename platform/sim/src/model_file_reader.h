// Reading a model file: only a regular file, and only up to a size no TV's
// model comes near, so that a wrong path fails at once instead of blocking or
// filling the memory.
#pragma once

#include <string>

namespace tvsim::modelfile {

// The file's text; anything unreadable is a ModelFileError naming the path.
std::string readModelFile(const std::string& path);

}  // namespace tvsim::modelfile
