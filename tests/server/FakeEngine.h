// An engine that hears a word for every second of a stretch: what a test's audio is recognised as
// can be told from its length alone. Tests hold it up, make it fail and see what it was asked.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Recogniser.h"

namespace orvx::test {

// Shared by its recognisers; every member may be called by any thread.
class FakeEngine {
  public:
    FakeEngine();

    RecogniserFactory Factory() const;

    // Finish waits while it is held up.
    void HoldUp();
    void GoOn();
    // From now on Feed and Finish fail, until GoOn.
    void FailFeed();
    void FailFinish();
    // Runs at the next call of Feed, on the decoder's thread.
    void OnNextFeed(std::function<void()> action);

    // How many stretches are being held up.
    int HeldUp() const;
    // Waits until `condition`, which sees the counters below; fails the test after a minute.
    void WaitFor(const std::function<bool(const FakeEngine&)>& condition);

    int Starts() const;
    int Failures() const;
    std::size_t SamplesFed() const;  // of all stretches, each as often as it was decoded
    std::size_t LongestOpening() const;
    std::vector<std::string> Finished() const;  // the texts, in the order they were finished

    // The text of a stretch of so many samples; "" below a second.
    static std::string Text(std::size_t samples);

  private:
    struct State;
    class FakeRecogniser;

    std::shared_ptr<State> state_;
};

}  // namespace orvx::test
