#include "InputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "Errors.h"
#include "Interruption.h"
#include "TemporaryFolder.h"

namespace recognize {

namespace {

// "RIFF", length, "WAVE", "fmt ", length, and the tag of the coding.
constexpr std::size_t kWavTagAt = 20;
constexpr std::size_t kWavTagEnd = 22;
// PCM, float, A-law, mu-law, and PCM in its extensible form.
constexpr unsigned kPlainTags[] = {1, 3, 6, 7, 0xFFFE};

// Between two looks at a pipe whose writer has begun a header and not ended it.
constexpr auto kPeekInterval = std::chrono::milliseconds(2);

[[noreturn]] void ThrowErrno(const char* doing, const std::string& where = {}) {
    throw AudioError(ErrnoText(doing, where));
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

// A file without a name, in the folder that TMPDIR names.
UniqueFd MakeTemporaryFile() {
    const std::filesystem::path folder = TemporaryFolder();
    std::string name = folder / "orvx-recognize-XXXXXX";
    UniqueFd fd(::mkostemp(name.data(), O_CLOEXEC));
    if (!fd) {
        ThrowErrno("cannot make a temporary file in ", folder.native());
    }
    ::unlink(name.c_str());
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
    begin_ = std::max<std::int64_t>(::lseek(fd_.Get(), 0, SEEK_CUR), 0);
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

std::int64_t InputFile::Length() const {
    struct stat info = {};
    if (is_live_ || ::fstat(fd_.Get(), &info) != 0) {
        return 0;
    }
    return std::max<std::int64_t>(info.st_size - begin_, 0);
}

std::size_t InputFile::ReadAt(std::int64_t at, std::span<char> bytes) {
    std::array<char, 4096> passed;
    while (is_live_ && taken_ < at) {
        const auto gap =
            static_cast<std::size_t>(std::min<std::int64_t>(at - taken_, passed.size()));
        if (ReadSome(taken_, std::span(passed).first(gap)) == 0) {
            return 0;
        }
    }
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const std::size_t count =
            ReadSome(at + static_cast<std::int64_t>(filled), bytes.subspan(filled));
        if (count == 0) {
            break;
        }
        filled += count;
    }
    return filled;
}

// One read; 0 at the end.
std::size_t InputFile::ReadSome(std::int64_t at, std::span<char> bytes) {
    for (;;) {
        WaitForBytes();
        const ssize_t count = is_live_
                                  ? ::read(fd_.Get(), bytes.data(), bytes.size())
                                  : ::pread(fd_.Get(), bytes.data(), bytes.size(), begin_ + at);
        if (count >= 0) {
            taken_ += count;
            return static_cast<std::size_t>(count);
        }
        if (errno != EINTR && errno != EAGAIN) {
            ThrowErrno("cannot be read");
        }
    }
}

void InputFile::PrepareForHeader() {
    if (!is_live_) {
        return;
    }
    WaitForBytes();
    if (!StartsLikePlainWav()) {
        CopyToTemporaryFile();
    }
}

bool InputFile::StartsLikePlainWav() const {
    // A recorder may write its header piece by piece.
    int available = 0;
    while (::ioctl(fd_.Get(), FIONREAD, &available) == 0 &&
           available < static_cast<int>(kWavTagEnd) && !IsAtEnd()) {
        if (!WaitUntil(std::chrono::steady_clock::now() + kPeekInterval)) {
            throw InterruptedError();
        }
    }
    const std::string header = Peek(kWavTagEnd);
    if (header.size() < kWavTagEnd || !header.starts_with("RIFF") ||
        header.compare(8, 8, "WAVEfmt ") != 0) {
        return false;
    }
    const unsigned low = static_cast<unsigned char>(header[kWavTagAt]);
    const unsigned high = static_cast<unsigned char>(header[kWavTagAt + 1]);
    return std::ranges::find(kPlainTags, high << 8 | low) != std::end(kPlainTags);
}

// Whether the writer has gone, so that no more comes than is there.
bool InputFile::IsAtEnd() const {
    pollfd fd = {fd_.Get(), POLLIN | POLLRDHUP, 0};
    return ::poll(&fd, 1, 0) > 0 && (fd.revents & (POLLHUP | POLLRDHUP | POLLERR)) != 0;
}

// The next bytes, without taking them: the header's reader wants them too.
std::string InputFile::Peek(std::size_t bytes) const {
    std::string seen(bytes, '\0');
    ssize_t count = 0;
    if (is_socket_) {
        count = ::recv(fd_.Get(), seen.data(), bytes, MSG_PEEK);
    } else {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            ThrowErrno("cannot make a pipe");
        }
        const UniqueFd reading(ends[0]);
        const UniqueFd writing(ends[1]);
        if (::tee(fd_.Get(), writing.Get(), bytes, SPLICE_F_NONBLOCK) > 0) {
            count = ::read(reading.Get(), seen.data(), bytes);
        }
    }
    seen.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return seen;
}

void InputFile::CopyToTemporaryFile() {
    UniqueFd copy = MakeTemporaryFile();
    std::array<char, 65536> block;
    while (const std::size_t count = ReadSome(taken_, block)) {
        WriteAllTo(copy.Get(), std::span(block).first(count));
    }
    ::lseek(copy.Get(), 0, SEEK_SET);
    fd_ = std::move(copy);
    is_live_ = false;
}

}  // namespace recognize
