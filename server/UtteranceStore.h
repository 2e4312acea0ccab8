// The open real-time utterances by their tokens: how many there may be, and how long one may lie
// idle. Both bounds together bound the memory that clients can claim by opening utterances and
// never closing them.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ResultToken.h"

namespace orvx {

// Entry is what the store keeps, by shared_ptr. Every member may be called by any thread at any
// time.
template <typename Entry>
class UtteranceStore {
  public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    // Keeps an utterance from expiring as long as it exists: somebody works on it.
    class Use {
      public:
        Use() = default;
        Use(UtteranceStore* store, std::string token, std::shared_ptr<Entry> entry)
            : store_(store), token_(std::move(token)), entry_(std::move(entry)) {}
        Use(Use&& other) noexcept
            : store_(std::exchange(other.store_, nullptr)),
              token_(std::move(other.token_)),
              entry_(std::move(other.entry_)) {}
        Use& operator=(Use&&) = delete;
        ~Use() {
            if (store_ != nullptr) store_->EndUse(token_);
        }

        explicit operator bool() const { return entry_ != nullptr; }
        Entry* operator->() const { return entry_.get(); }
        const std::string& Token() const { return token_; }

      private:
        UtteranceStore* store_ = nullptr;
        std::string token_;
        std::shared_ptr<Entry> entry_;
    };

    UtteranceStore(std::size_t most, Clock::duration longest_idle, Now now = Clock::now)
        : most_(most), longest_idle_(longest_idle), now_(std::move(now)) {}

    // Gives `entry` a token. Empty when the store is full.
    Use Add(std::shared_ptr<Entry> entry) {
        std::string token = MakeResultToken();
        const std::lock_guard lock(mutex_);
        if (places_.size() >= most_) return {};
        places_[token] = {entry, now_(), 1};
        return Use(this, std::move(token), std::move(entry));
    }

    // Empty when no utterance has this token (any more).
    Use Find(const std::string& token) {
        const std::lock_guard lock(mutex_);
        const auto found = places_.find(token);
        if (found == places_.end() || IsExpired(found->second)) return {};
        ++found->second.uses;
        return Use(this, token, found->second.entry);
    }

    // Whether it was there.
    bool Remove(const std::string& token) {
        const std::lock_guard lock(mutex_);
        return places_.erase(token) > 0;
    }

    // Takes out what has been idle for too long.
    std::vector<std::shared_ptr<Entry>> TakeExpired() {
        std::vector<std::shared_ptr<Entry>> expired;
        const std::lock_guard lock(mutex_);
        for (auto i = places_.begin(); i != places_.end();) {
            if (IsExpired(i->second)) {
                expired.push_back(std::move(i->second.entry));
                i = places_.erase(i);
            } else {
                ++i;
            }
        }
        return expired;
    }

    std::vector<std::shared_ptr<Entry>> All() const {
        std::vector<std::shared_ptr<Entry>> all;
        const std::lock_guard lock(mutex_);
        for (const auto& [token, place] : places_) all.push_back(place.entry);
        return all;
    }

    std::size_t Size() const {
        const std::lock_guard lock(mutex_);
        return places_.size();
    }

  private:
    struct Place {
        std::shared_ptr<Entry> entry;
        Clock::time_point last_use;
        int uses;  // that are going on
    };

    bool IsExpired(const Place& place) const {
        return place.uses == 0 && now_() - place.last_use >= longest_idle_;
    }

    void EndUse(const std::string& token) {
        const std::lock_guard lock(mutex_);
        const auto found = places_.find(token);
        if (found == places_.end()) return;  // removed meanwhile
        --found->second.uses;
        found->second.last_use = now_();
    }

    const std::size_t most_;
    const Clock::duration longest_idle_;
    const Now now_;
    mutable std::mutex mutex_;
    std::unordered_map<std::string, Place> places_;
};

}  // namespace orvx
