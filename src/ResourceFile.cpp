#include "ResourceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include "FileDescriptor.h"
#include "Logger.h"
#include "StandardStreams.h"

namespace {

constexpr int kFilePadding = 4;  // room behind a file's bytes, the first of it a 0 byte

class ReadOnlyFile {
  public:
    // Without blocking: opening a FIFO for reading would wait for a writer.
    explicit ReadOnlyFile(const char* path)
        : file_(StandardStreams::OpenFile(path, O_RDONLY | O_NONBLOCK)) {}

    bool IsOpen() const { return file_.IsOpen(); }
    off_t Size() const {
        const off_t size = ::lseek(file_.Get(), 0, SEEK_END);
        return size < 0 || ::lseek(file_.Get(), 0, SEEK_SET) != 0 ? -1 : size;
    }
    bool Read(char* bytes, std::size_t count) const {
        while (count > 0) {
            const ssize_t got = ::read(file_.Get(), bytes, count);
            if (got == 0 || (got < 0 && errno != EINTR)) {
                return false;
            }
            if (got > 0) {
                bytes += got;
                count -= static_cast<std::size_t>(got);
            }
        }
        return true;
    }

  private:
    const FileDescriptor file_;
};

Lexo_ErrCode FailedAllocation(int length) {
    ORVX_LOG_ERROR("Allocate memory failed(len=%d)", length);
    return LEXO_ERR_MEMORY;
}

std::unique_ptr<char[]> Allocate(std::size_t bytes) {
    return std::unique_ptr<char[]>(new (std::nothrow) char[bytes]);
}

}  // namespace

Lexo_ErrCode ResourceBytes::Obtain(Lexo_ResourceType type, const char* source, int source_length) {
    switch (type) {
        case LEXO_RESOURCE_BUFFER:
            return CopyBuffer(source, source_length);
        case LEXO_RESOURCE_FILE:
            return ReadFile(source == nullptr ? "" : source);
        default:
            return LEXO_ERR_NONE;
    }
}

Lexo_ErrCode ResourceBytes::CopyBuffer(const char* source, int source_length) {
    if (source_length < 0) {
        return FailedAllocation(source_length);
    }
    if (source == nullptr && source_length > 0) {
        return LEXO_ERR_PARAM_INVALID;
    }
    const auto bytes = static_cast<std::size_t>(source_length);
    data = Allocate(bytes);
    if (data == nullptr) {
        return FailedAllocation(source_length);
    }
    if (bytes > 0) {
        std::memcpy(data.get(), source, bytes);
    }
    length = source_length;
    return LEXO_ERR_NONE;
}

Lexo_ErrCode ResourceBytes::ReadFile(const char* path) {
    struct stat status {};
    if (::stat(path, &status) != 0 || S_ISDIR(status.st_mode)) {
        ORVX_LOG_ERROR("File [%s] not exists or is a directory.", path);
        return LEXO_ERR_OPENFILE;
    }
    const ReadOnlyFile file(path);
    if (!file.IsOpen()) {
        ORVX_LOG_ERROR("Open resource file [%s] failed.", path);
        return LEXO_ERR_OPENFILE;
    }
    const off_t size = file.Size();
    if (size == 0) {
        ORVX_LOG_ERROR("Resource file [%s] is empty.", path);
        return LEXO_ERR_LOAD_RESOURCE_FAILED;
    }
    if (size < 0) {
        ORVX_LOG_ERROR("Read resource file [%s] failed.", path);
        return LEXO_ERR_LOAD_RESOURCE_FAILED;
    }
    const auto bytes = static_cast<std::size_t>(size);
    if (size <= INT_MAX - kFilePadding) {
        data = Allocate(bytes + kFilePadding);
    }
    if (data == nullptr) {
        return FailedAllocation(static_cast<int>(std::min<off_t>(size, INT_MAX)));
    }
    data[bytes] = '\0';
    if (!file.Read(data.get(), bytes)) {
        data.reset();
        ORVX_LOG_ERROR("Read resource file [%s] failed.", path);
        return LEXO_ERR_LOAD_RESOURCE_FAILED;
    }
    length = static_cast<int>(size);
    return LEXO_ERR_NONE;
}
