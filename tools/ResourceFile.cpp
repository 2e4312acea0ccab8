#include "ResourceFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <optional>

#include "Capabilities.h"
#include "Errors.h"
#include "UniqueFd.h"

namespace recognize {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kFstMagic = "\xD6\xFD\xB2\x7E";
constexpr std::size_t kArpaPreamble = 4096;  // bytes in which a language model's list must begin

struct Suffix {
    std::string_view suffix;
    Lexo_ResourceFormatType format;
};

// ".gram" is missing: ABNF and JSGF both use it, and both begin with their name.
constexpr Suffix kSuffixes[] = {
    {".txt", LEXO_RESOURCE_GRAMMAR_WORDLIST},      {".list", LEXO_RESOURCE_GRAMMAR_WORDLIST},
    {".wordlist", LEXO_RESOURCE_GRAMMAR_WORDLIST}, {".words", LEXO_RESOURCE_GRAMMAR_WORDLIST},
    {".abnf", LEXO_RESOURCE_GRAMMAR_ABNF},         {".jsgf", LEXO_RESOURCE_GRAMMAR_JSGF},
    {".arpa", LEXO_RESOURCE_GRAMMAR_ARPA},         {".lm", LEXO_RESOURCE_GRAMMAR_ARPA},
    {".wfst", LEXO_RESOURCE_GRAMMAR_WFST},         {".fst", LEXO_RESOURCE_GRAMMAR_WFST},
};

[[noreturn]] void Refuse(const ResourceChoice& choice, const std::string& why) {
    throw UsageError(choice.Typed() + ": " + why);
}

UniqueFd Open(const ResourceChoice& choice) {
    UniqueFd fd(::open(choice.argument.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat info = {};
    if (!fd || ::fstat(fd.Get(), &info) != 0) {
        Refuse(choice, ErrnoText("cannot open the file"));
    }
    if (S_ISDIR(info.st_mode)) {
        Refuse(choice, "is a folder, not a file");
    }
    return fd;
}

std::string ReadBytes(const ResourceChoice& choice, std::size_t max_bytes) {
    const UniqueFd fd = Open(choice);
    std::string bytes;
    std::array<char, 65536> block;
    for (ssize_t count; (count = ::read(fd.Get(), block.data(), block.size())) != 0;) {
        if (count > 0) {
            bytes.append(block.data(), static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            Refuse(choice, ErrnoText("cannot read the file"));
        }
        if (bytes.size() > max_bytes) {
            Refuse(choice, "is larger than the " + std::to_string(max_bytes >> 20) +
                               " MiB that can be sent");
        }
    }
    if (bytes.empty()) {
        Refuse(choice, "the file is empty");
    }
    return bytes;
}

std::optional<Lexo_ResourceFormatType> FormatByBytes(std::string_view bytes) {
    if (bytes.starts_with(kFstMagic)) {
        return LEXO_RESOURCE_GRAMMAR_WFST;
    }
    if (bytes.starts_with(kByteOrderMark)) {
        bytes.remove_prefix(kByteOrderMark.size());
    }
    if (bytes.starts_with("#JSGF")) {
        return LEXO_RESOURCE_GRAMMAR_JSGF;
    }
    if (bytes.starts_with("#ABNF")) {
        return LEXO_RESOURCE_GRAMMAR_ABNF;
    }
    const std::string_view head = bytes.substr(0, kArpaPreamble);
    if (head.starts_with("\\data\\") || head.find("\n\\data\\") != std::string_view::npos) {
        return LEXO_RESOURCE_GRAMMAR_ARPA;
    }
    return std::nullopt;
}

}  // namespace

ResourceData ReadResource(const ResourceChoice& choice, std::size_t max_bytes) {
    ResourceData data;
    data.bytes = ReadBytes(choice, max_bytes);
    data.format = choice.format ? *choice.format : GuessGrammarFormat(choice.argument, data.bytes);
    return data;
}

Lexo_ResourceFormatType GuessGrammarFormat(const std::string& name, std::string_view bytes) {
    if (const auto format = FormatByBytes(bytes)) {
        return *format;
    }
    const std::string end = LowerCase(std::filesystem::path(name).extension().string());
    for (const Suffix& row : kSuffixes) {
        if (end == row.suffix) {
            return row.format;
        }
    }
    throw UsageError("--grammar " + name +
                     ": neither its name nor its first bytes tell the format; add "
                     "--grammar-format with one of " +
                     GrammarFormatNames());
}

}  // namespace recognize
