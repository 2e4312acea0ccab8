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

struct FakeEngineState {
    bool is_held_up = false;             // Finish waits meanwhile
    bool fails_feed = false;             // Feed throws
    bool fails_finish = false;           // Finish throws
    std::function<void()> on_next_feed;  // runs once, on the decoder's thread

    int held_up = 0;  // how many stretches are
    int starts = 0;
    int failures = 0;
    std::size_t samples_fed = 0;  // of all stretches, each as often as it was decoded
    std::size_t longest_opening = 0;
    std::vector<std::string> finished;  // the texts, in the order they were finished
};

// Shared by its recognisers; every member may be called by any thread.
class FakeEngine {
  public:
    RecogniserFactory Factory() const;

    void Set(const std::function<void(FakeEngineState*)>& change);
    void HoldUp();
    void GoOn();  // no longer held up, and nothing fails any more
    FakeEngineState Get() const;
    // Fails the test if the condition does not come true within a minute.
    void WaitFor(const std::function<bool(const FakeEngineState&)>& condition) const;
    void WaitForHeldUp(int stretches) const;

  private:
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        FakeEngineState state;
    };
    class FakeRecogniser;

    const std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
};

// The text of a stretch of so many seconds: "word word".
std::string Words(std::size_t seconds);

}  // namespace orvx::test
