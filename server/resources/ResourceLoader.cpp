#include "ResourceLoader.h"

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <utility>

#include "ArpaReader.h"
#include "GrammarCompiler.h"
#include "GrammarReaders.h"
#include "LogText.h"
#include "RegularFile.h"
#include "ResourceError.h"
#include "TextLines.h"
#include "WordLists.h"

namespace orvx {
namespace {

using quorlan::protocol::LexoRequestMessage;

constexpr std::size_t kMostCached = 64;
constexpr std::size_t kMostCachedBytes = std::size_t{64} << 20;
constexpr std::size_t kLargestFile = std::size_t{64} << 20;
constexpr std::size_t kLongestName = 200;

// What each capability takes, and the endings of its built-in files, first choice first.
struct Accepted {
    ResourceFormat format;
    const char* ending;
    const char* name;
};
using AcceptedList = std::vector<Accepted>;

const AcceptedList& AcceptedBy(Capability capability) {
    static const AcceptedList grammars{{kJsgf, ".jsgf", "JSGF"},
                                       {kAbnf, ".abnf", "ABNF"},
                                       {kArpa, ".arpa", "ARPA"},
                                       {kWordList, ".txt", "word list"}};
    static const AcceptedList keywords{{kKeywordList, ".txt", "keyword list"}};
    static const AcceptedList user_words{{kUserWords, ".txt", "user word list"}};
    if (capability == Capability::kGrammar) return grammars;
    return capability == Capability::kFreeTalk ? user_words : keywords;
}

std::string Names(const AcceptedList& accepted, const char* Accepted::*member) {
    std::string names;
    for (const Accepted& one : accepted) {
        names.append(names.empty() ? "" : ", ").append(one.*member);
    }
    return names;
}

Failure RefuseFormat(Capability capability, ResourceFormat format) {
    std::string text = format == kWfst ? "WFST grammars are not available"
                                       : "resources of format " + std::to_string(format) +
                                             " are not for this capability";
    text.append("; ").append(CapabilityName(capability)).append(" takes ");
    return {LEXO_ERR_NOT_SUPPORT, text + Names(AcceptedBy(capability), &Accepted::name)};
}

std::optional<Failure> CheckName(const std::string& name) {
    const auto is_allowed = [](char byte) {
        return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
               (byte >= '0' && byte <= '9') || byte == '.' || byte == '_' || byte == '-';
    };
    const bool is_name = !name.empty() && name.size() <= kLongestName && name[0] != '.' &&
                         std::all_of(name.begin(), name.end(), is_allowed);
    if (is_name) return std::nullopt;
    return Failure{
        LEXO_ERR_PARAM_INVALID,
        "proload_resource " + Quote(name) +
            " is no resource name: letters, digits, \"-\", \"_\" and \".\", and no \".\" "
            "in front"};
}

std::size_t SizeOf(const GrammarNetwork& network) {
    std::size_t bytes = network.arcs.size() * sizeof(GrammarNetwork::Arc);
    for (const std::string& word : network.words) bytes += sizeof(std::string) + word.size();
    return bytes;
}
std::size_t SizeOf(const LanguageModel& model) {
    std::size_t bytes = 0;
    for (const LanguageModel::Order& order : model.orders) bytes += order.lines.size();
    return bytes;
}
std::size_t SizeOf(const KeywordList& keywords) {
    std::size_t bytes = keywords.size() * sizeof(Keyword);
    for (const Keyword& one : keywords) bytes += one.text.size() + one.words.size();
    return bytes;
}
std::size_t SizeOf(const UserWords& words) {
    std::size_t bytes = words.size() * sizeof(UserWord);
    for (const UserWord& one : words) bytes += one.text.size() + one.phones.size();
    return bytes;
}
std::size_t SizeOf(const Resource& resource) {
    return sizeof resource +
           std::visit([](const auto& content) { return SizeOf(content); }, resource.content);
}

std::int64_t Nanoseconds(const timespec& time) {
    return time.tv_sec * std::int64_t{1'000'000'000} + time.tv_nsec;
}

}  // namespace

ResourceLoader::ResourceLoader(const std::string& dictionary, std::string folder,
                               std::size_t most_bytes)
    : dictionary_(dictionary),
      folder_(std::move(folder)),
      most_bytes_(most_bytes),
      cache_(kMostCached, kMostCachedBytes) {}

ResourceLoader::Loaded ResourceLoader::Load(Capability capability,
                                            const LexoRequestMessage& request) {
    if (request.resource_buildin() == 1) {
        return LoadBuiltIn(capability, request.proload_resource());
    }
    if (!request.has_resource_data()) {
        const bool is_needed =
            capability == Capability::kGrammar || capability == Capability::kKeywordSpot;
        if (!is_needed) return nullptr;
        return Failure{LEXO_ERR_PARAM_INVALID,
                       "no resource is bound; " + std::string(CapabilityName(capability)) +
                           " needs one: " + Names(AcceptedBy(capability), &Accepted::name)};
    }
    const std::string& bytes = request.resource_data();
    if (request.resource_data_len() < 0 ||
        static_cast<std::size_t>(request.resource_data_len()) != bytes.size()) {
        return Failure{LEXO_ERR_PARAM_INVALID,
                       "resource_data_len is " + std::to_string(request.resource_data_len()) +
                           ", but resource_data holds " + std::to_string(bytes.size()) + " bytes"};
    }
    if (!request.has_resource_type()) {
        return Failure{LEXO_ERR_PARAM_INVALID, "resource_type is missing or unknown"};
    }
    const AcceptedList& accepted = AcceptedBy(capability);
    const bool is_accepted =
        std::any_of(accepted.begin(), accepted.end(),
                    [&](const Accepted& known) { return known.format == request.resource_type(); });
    if (!is_accepted) return RefuseFormat(capability, request.resource_type());
    return Compile(request.resource_type(), bytes, "resource");
}

std::optional<std::size_t> ResourceLoader::BytesToRead(Capability capability,
                                                       const LexoRequestMessage& request) {
    if (request.resource_buildin() == 1) {
        const auto held = FindHeld(capability, request.proload_resource());
        return held && !Known(*held) ? std::optional<std::size_t>(held->size) : std::nullopt;
    }
    const bool is_known = !request.has_resource_data() ||
                          cache_.Find(request.resource_type(), request.resource_data());
    return is_known ? std::nullopt : std::optional(request.resource_data().size());
}

std::optional<ResourceLoader::HeldFile> ResourceLoader::FindHeld(Capability capability,
                                                                 const std::string& name) const {
    if (folder_.empty() || CheckName(name)) return std::nullopt;
    for (const Accepted& accepted : AcceptedBy(capability)) {
        const std::string path = folder_ + "/" + name + accepted.ending;
        struct stat status {};
        if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
        return HeldFile{
            path,
            accepted.format,
            static_cast<std::size_t>(status.st_size),
            {static_cast<std::int64_t>(status.st_dev), static_cast<std::int64_t>(status.st_ino),
             Nanoseconds(status.st_mtim), Nanoseconds(status.st_ctim), status.st_size}};
    }
    return std::nullopt;
}

// Null if it was not read yet, is used no more, or has changed.
ResourcePtr ResourceLoader::Known(const HeldFile& file) {
    const std::lock_guard lock(known_mutex_);
    const auto known = known_.find({file.path, file.format});
    if (known == known_.end() || known->second.stamp != file.stamp) return nullptr;
    return known->second.resource.lock();
}

ResourceLoader::Loaded ResourceLoader::LoadBuiltIn(Capability capability, const std::string& name) {
    if (auto failure = CheckName(name)) return *failure;
    if (const auto held = FindHeld(capability, name)) {
        if (ResourcePtr known = Known(*held)) return known;
        if (held->size > kLargestFile) {
            return Failure{LEXO_ERR_LOAD_RESOURCE_FAILED, "resource " + name + " is too large"};
        }
        if (const auto bytes = ReadRegularFile(held->path.c_str(), kLargestFile)) {
            Loaded loaded = Compile(held->format, *bytes, "resource " + name);
            if (const ResourcePtr* const resource = std::get_if<ResourcePtr>(&loaded)) {
                const std::lock_guard lock(known_mutex_);
                known_[{held->path, held->format}] = {held->stamp, *resource};
            }
            return loaded;
        }
    }
    return Failure{LEXO_ERR_LOAD_RESOURCE_FAILED, "this server has no built-in resource " +
                                                      Quote(name) + " for " +
                                                      std::string(CapabilityName(capability))};
}

ResourceLoader::Loaded ResourceLoader::Compile(ResourceFormat format, std::string_view bytes,
                                               const std::string& what) try {
    if (ResourcePtr known = cache_.Find(format, bytes)) return known;
    if (*bytes_ >= most_bytes_) {
        return Failure{LEXO_ERR_ALL_SESSION_BUSY,
                       "the resources of all requests take as much memory as this server has for "
                       "them; try again later"};
    }
    const bool has_returns = bytes.find('\r') != std::string_view::npos;
    const std::string changed = has_returns ? WithLineFeeds(bytes) : std::string();
    ResourcePtr resource = Keep(Read(format, has_returns ? changed : bytes));
    cache_.Add(format, bytes, resource);
    return resource;
} catch (const ResourceError& error) {
    return Failure{LEXO_ERR_LOAD_RESOURCE_FAILED, what + ": " + error.what()};
}

ResourcePtr ResourceLoader::Keep(Resource resource) const {
    const std::size_t bytes = SizeOf(resource);
    auto kept = std::make_unique<const Resource>(std::move(resource));
    *bytes_ += bytes;
    return {kept.release(), [sum = bytes_, bytes](const Resource* unused) {
                delete unused;
                *sum -= bytes;
            }};
}

Resource ResourceLoader::Read(ResourceFormat format, std::string_view bytes) const {
    static std::atomic<std::uint64_t> last_id{0};
    const std::uint64_t id = ++last_id;
    switch (format) {
        case kKeywordList:
            return {id, ReadKeywordList(bytes, dictionary_)};
        case kUserWords:
            return {id, ReadUserWords(bytes, dictionary_)};
        case kArpa:
            return {id, ReadArpa(bytes, dictionary_)};
        case kJsgf:
            return {id, CompileGrammar(ReadJsgf(bytes), dictionary_)};
        case kAbnf:
            return {id, CompileGrammar(ReadAbnf(bytes), dictionary_)};
        default:
            return {id, ReadWordList(bytes, dictionary_)};
    }
}

}  // namespace orvx
