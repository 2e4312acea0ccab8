#include "ResourceCache.h"

#include <algorithm>
#include <utility>

namespace orvx {

ResourcePtr ResourceCache::Find(ResourceFormat format, std::string_view bytes) {
    const std::lock_guard lock(mutex_);
    const auto entry = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& known) {
        return known.format == format && known.bytes == bytes;
    });
    if (entry == entries_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, entry);
    return entry->resource;
}

void ResourceCache::Add(ResourceFormat format, std::string_view bytes, ResourcePtr resource) {
    if (bytes.size() > max_bytes_) return;
    const std::lock_guard lock(mutex_);
    entries_.push_front({format, std::string(bytes), std::move(resource)});
    bytes_ += bytes.size();
    while (entries_.size() > max_resources_ || bytes_ > max_bytes_) {
        bytes_ -= entries_.back().bytes.size();
        entries_.pop_back();
    }
}

}  // namespace orvx
