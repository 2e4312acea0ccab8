// The resource that a request carries or names, read and checked.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "Capability.h"
#include "Dictionary.h"
#include "Failure.h"
#include "LexoMessage.pb.h"
#include "Resource.h"
#include "ResourceCache.h"

namespace orvx {

// Every member may be called by any thread at any time.
class ResourceLoader {
  public:
    // `folder` holds the built-in resources, or is empty: there are none. Throws
    // std::runtime_error if the dictionary cannot be read. No more is read while what was read
    // takes `most_bytes`.
    ResourceLoader(const std::string& dictionary, std::string folder,
                   std::size_t most_bytes = std::size_t{1} << 30);

    using Loaded = std::variant<ResourcePtr, Failure>;  // null: the request has none

    // Fails if the resource is not of a kind that the capability takes (LEXO_ERR_NOT_SUPPORT), does
    // not say what it should (LEXO_ERR_LOAD_RESOURCE_FAILED), is missing where one is needed
    // (LEXO_ERR_PARAM_INVALID), or finds no room (LEXO_ERR_ALL_SESSION_BUSY).
    Loaded Load(Capability capability, const quorlan::protocol::LexoRequestMessage& request);

    // How much is to be read for the request, nothing if it has no resource or one that is known:
    // reading may take seconds.
    std::optional<std::size_t> BytesToRead(Capability capability,
                                           const quorlan::protocol::LexoRequestMessage& request);

  private:
    struct HeldFile {
        std::string path;
        ResourceFormat format;
        std::size_t size;
        // What differs where the file is another one or has changed; its time of modification alone
        // can be put back.
        std::array<std::int64_t, 5> stamp;
    };
    // In the folder; nothing if there is none, or `name` is no resource name.
    std::optional<HeldFile> FindHeld(Capability capability, const std::string& name) const;
    ResourcePtr Known(const HeldFile& file);
    Loaded LoadBuiltIn(Capability capability, const std::string& name);
    Loaded Compile(ResourceFormat format, std::string_view bytes, const std::string& what);
    ResourcePtr Keep(Resource resource) const;
    Resource Read(ResourceFormat format, std::string_view bytes) const;

    const Dictionary dictionary_;
    const std::string folder_;
    const std::size_t most_bytes_;
    // Of all resources that somebody still holds, who may outlive the loader.
    const std::shared_ptr<std::atomic<std::size_t>> bytes_ =
        std::make_shared<std::atomic<std::size_t>>(0);
    ResourceCache cache_;
    // What was made of held files, while anybody still has it.
    struct KnownFile {
        std::array<std::int64_t, 5> stamp;
        std::weak_ptr<const Resource> resource;
    };
    std::mutex known_mutex_;
    std::map<std::pair<std::string, ResourceFormat>, KnownFile> known_;
};

}  // namespace orvx
