// The resource that a request carries or names, read and checked.
#pragma once

#include <string>
#include <string_view>
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
    // std::runtime_error if the dictionary cannot be read.
    ResourceLoader(const std::string& dictionary, std::string folder);

    using Loaded = std::variant<ResourcePtr, Failure>;  // null: the request has none

    // Fails if the resource is not of a kind that the capability takes (LEXO_ERR_NOT_SUPPORT), does
    // not say what it should (LEXO_ERR_LOAD_RESOURCE_FAILED), or is missing where one is needed
    // (LEXO_ERR_PARAM_INVALID).
    Loaded Load(Capability capability, const quorlan::protocol::LexoRequestMessage& request);

  private:
    Loaded LoadBuiltIn(Capability capability, const std::string& name);
    Loaded Compile(ResourceFormat format, std::string_view bytes, const std::string& what);
    Resource Read(ResourceFormat format, std::string_view bytes) const;

    const Dictionary dictionary_;
    const std::string folder_;
    ResourceCache cache_;
};

}  // namespace orvx
