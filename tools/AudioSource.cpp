#include "AudioSource.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "ContainerSource.h"
#include "Errors.h"
#include "InputFile.h"
#include "RawSource.h"

namespace recognize {

bool IsRawName(const std::string& name) {
    std::string ending = name.substr(name.size() - std::min<std::size_t>(name.size(), 4));
    std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return std::tolower(c); });
    return ending == ".raw" || ending == ".pcm";
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
