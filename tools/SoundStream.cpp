#include "SoundStream.h"

#include <cstdio>

namespace recognize {

SNDFILE* SoundStream::Open(SF_INFO* info) {
    static SF_VIRTUAL_IO calls = {
        [](void* self) {
            const auto* const stream = static_cast<SoundStream*>(self);
            return stream->is_end_hidden_ ? kNoEnd : stream->Length();
        },
        [](sf_count_t offset, int whence, void* self) {
            return static_cast<SoundStream*>(self)->Seek(offset, whence);
        },
        [](void* bytes, sf_count_t count, void* self) {
            return static_cast<SoundStream*>(self)->Read(static_cast<char*>(bytes), count);
        },
        [](const void*, sf_count_t, void*) { return sf_count_t{0}; },
        [](void* self) { return static_cast<SoundStream*>(self)->position_; }};
    position_ = 0;
    SNDFILE* file = ::sf_open_virtual(&calls, SFM_READ, info, this);
    is_open_ = true;
    return file;
}

void SoundStream::RethrowFailure() const {
    if (failure_) {
        std::rethrow_exception(failure_);
    }
}

sf_count_t SoundStream::Seek(sf_count_t offset, int whence) {
    if (whence == SEEK_END && is_end_hidden_) {
        return -1;
    }
    const sf_count_t origin = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? position_ : Length();
    if (offset < -origin || offset > kNoEnd - origin) {
        return -1;
    }
    return position_ = origin + offset;
}

sf_count_t SoundStream::Read(char* bytes, sf_count_t count) {
    if (count <= 0) {  // which the audio library may take from a damaged header
        return 0;
    }
    std::size_t got = 0;
    try {
        got = ReadAt(position_, std::span(bytes, static_cast<std::size_t>(count)));
    } catch (...) {
        failure_ = std::current_exception();
    }
    has_run_out_ |= is_open_ && static_cast<sf_count_t>(got) < count;
    position_ += static_cast<sf_count_t>(got);
    return static_cast<sf_count_t>(got);
}

}  // namespace recognize
