// The engine behind the server, seen through a small window: one object that turns one stretch of
// speech at a time into sentences. Another engine is one more file that implements Recogniser, and
// a factory for it in Server.cpp; nothing else knows which engine runs.
//
// Recognition of a stretch can be abandoned at any point and begun again on another object. The
// pool does so when decoders are scarce, so what an implementation returns must depend on nothing
// but the samples of the stretch and how much of them was its opening.
#pragma once

#include <time.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "Resource.h"

namespace orvx {

struct RecognisedWord {
    int start_ms;  // from the start of the stretch
    int end_ms;
    int score;             // 0..100
    std::size_t position;  // first byte in the sentence's text
    std::size_t length;    // bytes
};

struct RecognisedSentence {
    std::string text;  // UTF-8
    int score;         // 0..100
    std::vector<RecognisedWord> words;
};

struct FoundKeyword {
    std::size_t index;  // in the list
    int start_ms;       // from the start of the stretch
    int end_ms;
    int score;  // 0..100
};

// What was heard in a stretch.
struct Heard {
    bool IsNothing() const { return sentences.empty() && keywords.empty(); }

    std::vector<RecognisedSentence> sentences;  // readings of the stretch, best first
    std::vector<FoundKeyword> keywords;         // by start
};

// What to listen for. A grammar, a language model or user words change which sentences there may
// be; a keyword list is looked for beside them or, without sentences, alone.
struct ListeningTask {
    bool wants_sentences = true;
    ResourcePtr resource;  // null: free talk
};

// Thrown by a member of the following, or for it: the stretch is too much work with its resource,
// and would be so again.
struct TooHard : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Thrown by a member of the following: it was stopped because the object's watch said so.
struct Interrupted : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Thrown by Start: the engine has ended before and cannot be loaded again, whatever the stretch.
struct NotLoaded : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Not for use by two threads at once. Every member throws std::exception when the engine fails;
// Start makes the object usable again.
class Recogniser {
  public:
    virtual ~Recogniser() = default;

    // Begins a stretch, and drops one that was not finished. `opening` is its beginning, or all of
    // it where that is known, for the engine to adapt to voice and line; it is fed afterwards like
    // everything else.
    virtual void Start(const ListeningTask& task, std::span<const std::int16_t> opening) = 0;
    // The next samples, 16 kHz mono.
    virtual void Feed(std::span<const std::int16_t> samples) = 0;
    // Ends the stretch: at most `max_sentences` (at least 1) different readings of it, none when no
    // word was heard. Nothing, if that takes more time: to be called again then, with the same
    // number, until something comes.
    virtual std::optional<Heard> Finish(std::size_t max_sentences) = 0;

    // Whether a call that has taken so much processor time may go on.
    using Watch = std::function<bool(std::chrono::nanoseconds taken)>;
    // An engine that can be stopped in the middle of a call asks this then, some ten times a
    // second, on the thread that has called. Others never do.
    virtual void SetWatch(const Watch&) {}
    // After NotLoaded: loads it again, or throws std::exception.
    virtual void Restore() {}
    // What the engine has taken so far for the calls of this thread: only differences tell
    // something, within one stretch.
    virtual std::chrono::nanoseconds ProcessorTime() const {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }
};

// Makes one more recogniser; called by several threads at once. Throws std::exception when the
// engine cannot be loaded.
using RecogniserFactory = std::function<std::unique_ptr<Recogniser>()>;

}  // namespace orvx
