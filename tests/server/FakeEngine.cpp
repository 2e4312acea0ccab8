#include "FakeEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace orvx::test {
namespace {

constexpr std::size_t kSamplesPerWord = 16000;

}  // namespace

struct FakeEngine::State {
    mutable std::mutex mutex;
    std::condition_variable changed;
    bool is_held_up = false;
    bool fails_feed = false;
    bool fails_finish = false;
    std::function<void()> on_next_feed;
    int held_up = 0;
    int starts = 0;
    int failures = 0;
    std::size_t samples_fed = 0;
    std::size_t longest_opening = 0;
    std::vector<std::string> finished;
};

class FakeEngine::FakeRecogniser : public Recogniser {
  public:
    explicit FakeRecogniser(std::shared_ptr<State> state) : state_(std::move(state)) {}

    void Start(std::span<const std::int16_t> opening) override {
        const std::lock_guard lock(state_->mutex);
        samples_ = 0;
        ++state_->starts;
        state_->longest_opening = std::max(state_->longest_opening, opening.size());
        state_->changed.notify_all();
    }

    void Feed(std::span<const std::int16_t> samples) override {
        std::unique_lock lock(state_->mutex);
        if (const auto action = std::exchange(state_->on_next_feed, nullptr)) {
            lock.unlock();
            action();
            lock.lock();
        }
        if (state_->fails_feed) {
            ++state_->failures;
            throw std::runtime_error("the fake engine cannot listen");
        }
        samples_ += samples.size();
        state_->samples_fed += samples.size();
        state_->changed.notify_all();
    }

    std::vector<RecognisedSentence> Finish(std::size_t max_sentences) override {
        std::unique_lock lock(state_->mutex);
        ++state_->held_up;
        state_->changed.notify_all();
        state_->changed.wait(lock, [&] { return !state_->is_held_up; });
        --state_->held_up;
        if (state_->fails_finish) throw std::runtime_error("the fake engine is out of order");
        const std::string text = Text(samples_);
        state_->finished.push_back(text);
        state_->changed.notify_all();
        if (text.empty()) return {};
        RecognisedSentence sentence{text, 50, {}};
        for (std::size_t at = 0; at < text.size(); at += 5) {
            const int word = static_cast<int>(at / 5);
            sentence.words.push_back({word * 1000, word * 1000 + 1000, 50, at, 4});
        }
        return std::vector(max_sentences, sentence);
    }

  private:
    const std::shared_ptr<State> state_;
    std::size_t samples_ = 0;
};

FakeEngine::FakeEngine() : state_(std::make_shared<State>()) {}

RecogniserFactory FakeEngine::Factory() const {
    return [state = state_] { return std::make_unique<FakeRecogniser>(state); };
}

void FakeEngine::HoldUp() {
    const std::lock_guard lock(state_->mutex);
    state_->is_held_up = true;
}

void FakeEngine::GoOn() {
    const std::lock_guard lock(state_->mutex);
    state_->is_held_up = state_->fails_feed = state_->fails_finish = false;
    state_->changed.notify_all();
}

void FakeEngine::FailFeed() {
    const std::lock_guard lock(state_->mutex);
    state_->fails_feed = true;
}

void FakeEngine::FailFinish() {
    const std::lock_guard lock(state_->mutex);
    state_->fails_finish = true;
}

void FakeEngine::OnNextFeed(std::function<void()> action) {
    const std::lock_guard lock(state_->mutex);
    state_->on_next_feed = std::move(action);
}

void FakeEngine::WaitFor(const std::function<bool(const FakeEngine&)>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition(*this) && std::chrono::steady_clock::now() < end) {
        std::unique_lock lock(state_->mutex);
        state_->changed.wait_for(lock, std::chrono::milliseconds(20));
    }
    EXPECT_TRUE(condition(*this));
}

int FakeEngine::HeldUp() const {
    const std::lock_guard lock(state_->mutex);
    return state_->held_up;
}

int FakeEngine::Failures() const {
    const std::lock_guard lock(state_->mutex);
    return state_->failures;
}

int FakeEngine::Starts() const {
    const std::lock_guard lock(state_->mutex);
    return state_->starts;
}

std::size_t FakeEngine::SamplesFed() const {
    const std::lock_guard lock(state_->mutex);
    return state_->samples_fed;
}

std::size_t FakeEngine::LongestOpening() const {
    const std::lock_guard lock(state_->mutex);
    return state_->longest_opening;
}

std::vector<std::string> FakeEngine::Finished() const {
    const std::lock_guard lock(state_->mutex);
    return state_->finished;
}

std::string FakeEngine::Text(std::size_t samples) {
    std::string text;
    for (std::size_t i = 0; i < samples / kSamplesPerWord; ++i) {
        text += text.empty() ? "word" : " word";
    }
    return text;
}

}  // namespace orvx::test
