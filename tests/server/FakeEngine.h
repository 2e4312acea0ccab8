// An engine that hears a word for every second of a stretch: what a test's audio is recognised as
// can be told from its length alone; of a keyword list it spots the first. Tests hold it up, make
// it fail and see what it was asked.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Recogniser.h"

namespace orvx::test {

// The text of a stretch of so many seconds: "word word".
inline std::string Words(std::size_t seconds) {
    std::string text;
    for (std::size_t i = 0; i < seconds; ++i) text += text.empty() ? "word" : " word";
    return text;
}

struct FakeEngineState {
    bool is_held_up = false;             // Finish waits meanwhile
    bool fails_feed = false;             // Feed throws
    bool fails_finish = false;           // Finish throws
    std::size_t not_loaded = 0;          // so many recognisers have ended and cannot be loaded
    std::function<void()> on_next_feed;  // runs once, on the decoder's thread
    std::function<void()> on_next_step;  // of Finish's; the same
    int first_steps = 0;                 // of each stretch's, before what Finish does

    // Finish of two seconds and more is one call that has taken so long, until it is told not to go
    // on.
    std::optional<std::chrono::nanoseconds> stuck_for;

    std::size_t keywords = 1;  // that are spotted in a stretch

    int held_up = 0;  // how many stretches are
    int asked = 0;    // how often it was, whether to go on
    int starts = 0;
    int restores = 0;  // that failed
    int failures = 0;
    std::size_t samples_fed = 0;  // of all stretches, each as often as it was decoded
    std::size_t longest_opening = 0;
    std::vector<std::string> finished;  // the texts, in the order they were finished
};

// Shared by its recognisers; every member may be called by any thread.
class FakeEngine {
  public:
    RecogniserFactory Factory() const {
        return [shared = shared_] { return std::make_unique<FakeRecogniser>(shared); };
    }
    void Set(const std::function<void(FakeEngineState*)>& change) {
        const std::lock_guard lock(shared_->mutex);
        change(&shared_->state);
        shared_->changed.notify_all();
    }
    void HoldUp() {
        Set([](auto* s) { s->is_held_up = true; });
    }
    // No longer held up, and nothing fails any more.
    void GoOn() {
        Set([](auto* s) { s->is_held_up = s->fails_feed = s->fails_finish = false; });
    }
    FakeEngineState Get() const {
        const std::lock_guard lock(shared_->mutex);
        return shared_->state;
    }
    // Fails the test if the condition does not come true within a minute.
    void WaitFor(const std::function<bool(const FakeEngineState&)>& condition) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!condition(Get())) {  // unlocked: it may use what calls the engine
            ASSERT_LT(std::chrono::steady_clock::now(), end);
            std::unique_lock lock(shared_->mutex);
            shared_->changed.wait_for(lock, std::chrono::milliseconds(20));
        }
    }
    void WaitForHeldUp(int stretches) const {
        WaitFor([stretches](const auto& s) { return s.held_up == stretches; });
    }

  private:
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        FakeEngineState state;
        std::atomic<std::size_t> recognisers{0};  // that were made
    };

    class FakeRecogniser : public Recogniser {
      public:
        explicit FakeRecogniser(std::shared_ptr<Shared> shared)
            : shared_(std::move(shared)), number_(shared_->recognisers++) {}

        void Start(const ListeningTask& task, std::span<const std::int16_t> opening) override {
            const std::lock_guard lock(shared_->mutex);
            if (number_ < state_.not_loaded) throw NotLoaded("the fake engine is not there");
            task_ = task;
            samples_ = 0;
            steps_ = 0;
            ++state_.starts;
            state_.longest_opening = std::max(state_.longest_opening, opening.size());
            shared_->changed.notify_all();
        }

        void Feed(std::span<const std::int16_t> samples) override {
            std::unique_lock lock(shared_->mutex);
            if (const auto action = std::exchange(state_.on_next_feed, nullptr)) {
                lock.unlock();
                action();
                lock.lock();
            }
            shared_->changed.notify_all();
            if (state_.fails_feed) {
                ++state_.failures;
                throw std::runtime_error("the fake engine cannot listen");
            }
            samples_ += samples.size();
            state_.samples_fed += samples.size();
        }

        void Restore() override {
            const std::lock_guard lock(shared_->mutex);
            if (number_ >= state_.not_loaded) return;
            ++state_.restores;
            throw NotLoaded("the fake engine is not there yet");
        }
        void SetWatch(const Watch& watch) override { watch_ = watch; }

        std::optional<Heard> Finish(std::size_t max_sentences) override {
            std::unique_lock lock(shared_->mutex);
            while (state_.stuck_for && samples_ >= 32000) AskWatch(&lock);
            if (steps_ < state_.first_steps) {
                ++steps_;
                if (const auto action = std::exchange(state_.on_next_step, nullptr)) {
                    lock.unlock();
                    action();
                }
                return std::nullopt;
            }
            ++state_.held_up;
            shared_->changed.notify_all();
            shared_->changed.wait(lock, [&] { return !state_.is_held_up; });
            --state_.held_up;
            if (state_.fails_finish) throw std::runtime_error("the fake engine is out of order");
            RecognisedSentence sentence{Words(samples_ / 16000), 50, {}};
            state_.finished.push_back(sentence.text);
            shared_->changed.notify_all();
            for (std::size_t at = 0; at < sentence.text.size(); at += 5) {
                const int second = static_cast<int>(at / 5);
                sentence.words.push_back({second * 1000, second * 1000 + 1000, 50, at, 4});
            }
            const bool is_silent = sentence.text.empty();
            Heard heard;
            if (task_.wants_sentences)
                heard.sentences.resize(is_silent ? 0 : max_sentences, sentence);
            if (task_.resource && !is_silent)
                heard.keywords.resize(state_.keywords, {0, 100, 300, 70});
            return heard;
        }

      private:
        void AskWatch(std::unique_lock<std::mutex>* lock) {
            const auto taken = *state_.stuck_for;
            ++state_.asked;
            shared_->changed.notify_all();
            lock->unlock();
            if (!watch_(taken)) throw Interrupted("the fake engine was stopped");
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            lock->lock();
        }

        const std::shared_ptr<Shared> shared_;
        const std::size_t number_;
        Watch watch_;
        FakeEngineState& state_ = shared_->state;
        ListeningTask task_;
        std::size_t samples_ = 0;
        int steps_ = 0;
    };

    const std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

}  // namespace orvx::test
