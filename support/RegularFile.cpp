#include "RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "FileDescriptor.h"
#include "StandardStreams.h"

namespace {

bool IsRegularFile(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

// O_NONBLOCK: opening a FIFO that nobody writes to must fail here instead of waiting.
std::optional<std::string> ReadRegularFile(const char* path, std::size_t most_bytes) {
    const FileDescriptor file(StandardStreams::OpenFile(path, O_RDONLY | O_NONBLOCK));
    if (!file.IsOpen() || !IsRegularFile(file.Get())) return std::nullopt;
    std::string text;
    char chunk[16384];
    for (;;) {
        const ssize_t count = read(file.Get(), chunk, sizeof chunk);
        if (count > 0 && static_cast<std::size_t>(count) > most_bytes - text.size()) {
            return std::nullopt;
        }
        if (count > 0) {
            text.append(chunk, static_cast<std::size_t>(count));
        } else if (count == 0) {
            return text;
        } else if (errno != EINTR) {
            return std::nullopt;
        }
    }
}
