// Reading a model file's text, refusing what is not a regular file of a sane size.
#include "model_file_reader.h"

#include <tvsim/model_file.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tvsim::modelfile {
namespace {

const char* fileKind(mode_t mode) {
    switch (mode & S_IFMT) {
        case S_IFDIR:
            return "a directory";
        case S_IFIFO:
            return "a FIFO";
        case S_IFCHR:
            return "a character device";
        case S_IFBLK:
            return "a block device";
        case S_IFSOCK:
            return "a socket";
        default:
            return "a special file";
    }
}

struct OpenFile {
    ~OpenFile() { ::close(descriptor); }
    int descriptor;
};

// Only a regular file of at most kMaxFileBytes. Opening without blocking keeps
// a FIFO without a writer from hanging the caller before it is refused; the
// size is checked as the file is read too, since it may grow meanwhile.
}  // namespace

std::string readBoundedFile(const std::string& path, const std::string& what) {
    auto refuse = [&](const std::string& why) { return UnreadableFile(path + ": cannot read the file: " + why); };
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        throw refuse(std::generic_category().message(errno));
    }
    const OpenFile file{descriptor};
    struct stat status {};
    if (::fstat(file.descriptor, &status) != 0) {
        throw refuse(std::generic_category().message(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        throw refuse(std::string("it is ") + fileKind(status.st_mode) + ", not a regular file");
    }
    const std::string tooLarge = "it is larger than 4 MiB, the most " + what + " may hold";
    if (static_cast<unsigned long long>(status.st_size) > kMaxFileBytes) {
        throw refuse(tooLarge);
    }
    std::string text;
    char buffer[65536];
    for (;;) {
        const ssize_t count = ::read(file.descriptor, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw refuse(std::generic_category().message(errno));
        }
        if (count == 0) {
            return text;
        }
        text.append(buffer, static_cast<std::size_t>(count));
        if (text.size() > kMaxFileBytes) {
            throw refuse(tooLarge);
        }
    }
}

std::string readModelFile(const std::string& path) {
    try {
        return readBoundedFile(path, "a model file");
    } catch (const UnreadableFile& unreadable) {
        throw ModelFileError(unreadable.what());
    }
}

}  // namespace tvsim::modelfile
