#include "CapturedOutput.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace scripted {

CapturedOutput::CapturedOutput(std::FILE* stream)
    : stream_(stream),
      descriptor_(::fileno(stream)),
      original_(::fcntl(descriptor_, F_DUPFD_CLOEXEC, 3)),
      file_(::memfd_create("captured", MFD_CLOEXEC)) {
    std::fflush(stream_);
    ::dup2(file_, descriptor_);
}

CapturedOutput::~CapturedOutput() {
    std::fflush(stream_);
    ::dup2(original_, descriptor_);
    ::close(original_);
    ::close(file_);
}

std::string CapturedOutput::Text() const {
    std::fflush(stream_);
    std::string text;
    char area[4096];
    for (ssize_t count = 0;
         (count = ::pread(file_, area, sizeof(area), static_cast<off_t>(text.size()))) > 0;) {
        text.append(area, static_cast<std::size_t>(count));
    }
    return text;
}

}  // namespace scripted
