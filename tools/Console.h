// The program's two outputs, results and messages, shared by all threads.
//
// The engine prints on standard output while it starts, and its log goes there when it cannot be
// configured. So the console keeps the real standard output for the results alone, and turns
// descriptor 1 away for the life of the process: to standard error when `verbose`, to nowhere
// otherwise. Redirecting only around the start of the engine would let a later log line into a
// pipe that expects JSON.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <string_view>

#include "UniqueFd.h"

namespace recognize {

// Puts something unusable in the place of each standard stream that was closed, so that no other
// descriptor gets its number, and what is written to it is an error still.
void OccupyStandardStreams();

class Console {
  public:
    explicit Console(bool verbose);

    bool Verbose() const { return verbose_; }

    // Writes to the real standard output at once. When it cannot be written to, requests the
    // interruption; and says why, once, unless nobody reads the pipe any more.
    void WriteResult(std::string_view text);
    // Whether that has happened.
    bool ResultsLost() const { return results_lost_; }

    // One line on standard error, behind the program's name, without control characters.
    void Message(std::string_view text);

    // Draws the progress bar when standard error is a terminal and the work lasts longer than a
    // second. `fraction` is 0 to 1.
    void ShowProgress(double fraction, const char* text);
    void EndProgress();

  private:
    void EraseBar();

    const bool verbose_;
    const bool has_terminal_;
    const std::chrono::steady_clock::time_point start_;
    UniqueFd results_;

    std::mutex mutex_;  // guards what follows, and keeps lines whole
    bool bar_shown_ = false;
    std::atomic<bool> results_lost_ = false;
    std::chrono::steady_clock::time_point last_drawn_;
};

// Standard error is silent while this lives, unless `verbose`: the engine's probe reports there in
// its own words, and the program says the same in clearer ones.
class QuietStandardError {
  public:
    explicit QuietStandardError(bool verbose);
    ~QuietStandardError();
    // Where standard error leads without this.
    int RealFd() const { return saved_ ? saved_.Get() : STDERR_FILENO; }

    QuietStandardError(const QuietStandardError&) = delete;
    QuietStandardError& operator=(const QuietStandardError&) = delete;

  private:
    UniqueFd saved_;
};

}  // namespace recognize
