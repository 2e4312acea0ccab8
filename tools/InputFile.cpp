#include "InputFile.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Errors.h"
#include "Interruption.h"

namespace recognize {

namespace {

constexpr std::size_t kMagicBytes = 4;

[[noreturn]] void ThrowErrno(const std::string& doing) {
    throw AudioError(doing + ": " + std::strerror(errno));
}

UniqueFd OpenForReading(const std::string& name) {
    if (name == kStandardInput) {
        return UniqueFd(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
    }
    // Non-blocking for the opening only: a named pipe without a writer must not hold the thread
    // where no signal can wake it.
    UniqueFd fd(::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (fd) {
        ::fcntl(fd.Get(), F_SETFL, ::fcntl(fd.Get(), F_GETFL) & ~O_NONBLOCK);
    }
    return fd;
}

void WriteAllTo(int fd, std::span<const char> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            ThrowErrno("cannot write a temporary file");
        }
    }
}

}  // namespace

InputFile::InputFile(const std::string& name) : fd_(OpenForReading(name)) {
    struct stat info = {};
    if (!fd_ || ::fstat(fd_.Get(), &info) != 0) {
        ThrowErrno("cannot open the file");
    }
    is_socket_ = S_ISSOCK(info.st_mode);
    is_live_ = is_socket_ || S_ISFIFO(info.st_mode);
    if (S_ISDIR(info.st_mode)) {
        throw AudioError("is a folder, not a recording");
    }
    if (!is_live_ && !S_ISREG(info.st_mode)) {
        throw AudioError("is a device or a terminal, not a recording");
    }
}

void InputFile::WaitForBytes() const {
    if (is_live_ ? !WaitReadable(fd_.Get()) : InterruptionRequested()) {
        throw InterruptedError();
    }
}

void InputFile::PrepareForHeader() {
    if (!is_live_) {
        return;
    }
    WaitForBytes();
    if (!StartsLikeFlowingContainer()) {
        CopyToTemporaryFile();
    }
}

// Looks at the first bytes without taking them, as the header's reader wants them too.
bool InputFile::StartsLikeFlowingContainer() const {
    std::array<char, kMagicBytes> magic{};
    ssize_t seen = 0;
    if (is_socket_) {
        seen = ::recv(fd_.Get(), magic.data(), magic.size(), MSG_PEEK);
    } else {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            ThrowErrno("cannot make a pipe");
        }
        const UniqueFd reading(ends[0]);
        const UniqueFd writing(ends[1]);
        if (::tee(fd_.Get(), writing.Get(), magic.size(), SPLICE_F_NONBLOCK) > 0) {
            seen = ::read(reading.Get(), magic.data(), magic.size());
        }
    }
    const std::string_view text(magic.data(), seen > 0 ? static_cast<std::size_t>(seen) : 0);
    return text == "RIFF" || text == "RIFX" || text == "RF64" || text == ".snd" || text == "FORM";
}

void InputFile::CopyToTemporaryFile() {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), &std::fclose);
    if (file == nullptr) {
        ThrowErrno("cannot make a temporary file");
    }
    UniqueFd copy(::fcntl(::fileno(file.get()), F_DUPFD_CLOEXEC, 0));
    std::array<char, 65536> block;
    for (;;) {
        WaitForBytes();
        const ssize_t count = ::read(fd_.Get(), block.data(), block.size());
        if (count == 0) {
            break;
        }
        if (count < 0 && errno != EINTR) {
            ThrowErrno("cannot read");
        }
        WriteAllTo(copy.Get(),
                   std::span(block).first(count < 0 ? 0 : static_cast<std::size_t>(count)));
    }
    ::lseek(copy.Get(), 0, SEEK_SET);
    fd_ = std::move(copy);
    is_live_ = false;
}

}  // namespace recognize
