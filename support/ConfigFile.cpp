// Parsed by hand: of the parsers at hand one folds the case of names and cuts lines at 200 bytes,
// and the other one, which fits, would load the ICU libraries into the host's process.
#include "ConfigFile.h"

#include <charconv>
#include <optional>
#include <string_view>

#include "RegularFile.h"
#include "text_split.h"

namespace {

std::optional<int> ParseInt(std::string_view text) {
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    int value = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end) return std::nullopt;
    return value;
}

}  // namespace

bool ConfigFile::LoadFromFile(const char* path) {
    const std::optional<std::string> text = ReadRegularFile(path == nullptr ? "" : path);
    if (!text) return false;
    sections_.clear();
    Parse(*text);
    return true;
}

void ConfigFile::Parse(std::string_view text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
    Keys* keys = &sections_[""];
    while (!text.empty()) {
        std::string_view line = Trim(CutFront(&text, '\n'));
        if (line.starts_with('#') || line.starts_with(';')) continue;
        if (line.starts_with('[')) {
            line.remove_prefix(1);
            keys = &sections_[std::string(Trim(CutFront(&line, ']')))];
        } else if (line.find('=') != std::string_view::npos) {
            const std::string_view key = Trim(CutFront(&line, '='));
            keys->insert_or_assign(std::string(key), std::string(Trim(line)));
        }
    }
}

const std::string* ConfigFile::Find(const char* section, const char* key) const {
    const auto keys = sections_.find(section == nullptr ? "" : section);
    if (keys == sections_.end()) return nullptr;
    const auto value = keys->second.find(key == nullptr ? "" : key);
    return value == keys->second.end() ? nullptr : &value->second;
}

int ConfigFile::ReadInt(const char* section, const char* key, int default_value) const {
    const std::string* const value = Find(section, key);
    return value == nullptr ? default_value : ParseInt(*value).value_or(default_value);
}

std::string ConfigFile::ReadString(const char* section, const char* key,
                                   const char* default_value) const {
    const std::string* const value = Find(section, key);
    if (value != nullptr) return *value;
    return default_value == nullptr ? "" : default_value;
}
