#include "FakeEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace orvx::test {

class FakeEngine::FakeRecogniser : public Recogniser {
  public:
    explicit FakeRecogniser(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}

    void Start(std::span<const std::int16_t> opening) override {
        const std::lock_guard lock(shared_->mutex);
        samples_ = 0;
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

    std::vector<RecognisedSentence> Finish(std::size_t max_sentences) override {
        std::unique_lock lock(shared_->mutex);
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
        return std::vector(sentence.text.empty() ? 0 : max_sentences, sentence);
    }

  private:
    const std::shared_ptr<Shared> shared_;
    FakeEngineState& state_ = shared_->state;
    std::size_t samples_ = 0;
};

RecogniserFactory FakeEngine::Factory() const {
    return [shared = shared_] { return std::make_unique<FakeRecogniser>(shared); };
}

void FakeEngine::Set(const std::function<void(FakeEngineState*)>& change) {
    const std::lock_guard lock(shared_->mutex);
    change(&shared_->state);
    shared_->changed.notify_all();
}

void FakeEngine::HoldUp() {
    Set([](FakeEngineState* s) { s->is_held_up = true; });
}

void FakeEngine::GoOn() {
    Set([](FakeEngineState* s) { s->is_held_up = s->fails_feed = s->fails_finish = false; });
}

FakeEngineState FakeEngine::Get() const {
    const std::lock_guard lock(shared_->mutex);
    return shared_->state;
}

void FakeEngine::WaitFor(const std::function<bool(const FakeEngineState&)>& condition) const {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition(Get())) {  // unlocked: it may use what calls the engine
        ASSERT_LT(std::chrono::steady_clock::now(), end);
        std::unique_lock lock(shared_->mutex);
        shared_->changed.wait_for(lock, std::chrono::milliseconds(20));
    }
}

void FakeEngine::WaitForHeldUp(int stretches) const {
    WaitFor([stretches](const FakeEngineState& s) { return s.held_up == stretches; });
}

std::string Words(std::size_t seconds) {
    std::string text;
    for (std::size_t i = 0; i < seconds; ++i) text += text.empty() ? "word" : " word";
    return text;
}

}  // namespace orvx::test
