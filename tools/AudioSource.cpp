#include "AudioSource.h"

#include <string_view>
#include <utility>

#include "ContainerSource.h"
#include "Errors.h"
#include "InputFile.h"
#include "RawSource.h"

namespace recognize {

bool IsRawName(const std::string& name) {
    const std::string_view text(name);
    return text.ends_with(".raw") || text.ends_with(".pcm");
}

std::unique_ptr<AudioSource> OpenAudio(const std::string& name, std::optional<int> raw_rate,
                                       std::size_t channels) {
    const bool is_raw = IsRawName(name) || (name == kStandardInput && raw_rate.has_value());
    if (is_raw && !raw_rate) {
        throw AudioError("holds raw samples: tell their rate with --rate HZ");
    }
    InputFile input(name);
    if (is_raw) {
        return std::make_unique<RawSource>(std::move(input), *raw_rate, channels);
    }
    return std::make_unique<ContainerSource>(std::move(input), channels);
}

}  // namespace recognize
