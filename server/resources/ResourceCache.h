// The resources that were used last, by their content: a grammar that a thousand sessions bind is
// read once.
#pragma once

#include <cstddef>
#include <list>
#include <mutex>
#include <string>
#include <string_view>

#include "Resource.h"
#include "ResourceFormat.h"

namespace orvx {

// Every member may be called by any thread at any time.
class ResourceCache {
  public:
    ResourceCache(std::size_t max_resources, std::size_t max_bytes)
        : max_resources_(max_resources), max_bytes_(max_bytes) {}

    // Null if it is not here.
    ResourcePtr Find(ResourceFormat format, std::string_view bytes);
    // Forgets what was not used for longest to make room; keeps nothing that is larger than all.
    void Add(ResourceFormat format, std::string_view bytes, ResourcePtr resource);

  private:
    struct Entry {
        ResourceFormat format;
        std::string bytes;
        ResourcePtr resource;
    };

    const std::size_t max_resources_;
    const std::size_t max_bytes_;
    std::mutex mutex_;
    std::list<Entry> entries_;  // the one used last in front
    std::size_t bytes_ = 0;
};

}  // namespace orvx
