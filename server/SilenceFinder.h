// The silences of a call: where nobody speaks on any of its channels.
#pragma once

#include <vector>

#include "Outcome.h"

namespace orvx {

class SilenceFinder {
  public:
    // Somebody speaks. In any order, and speech may overlap; none may begin before what Take has
    // reported already.
    void AddSpeech(int start_ms, int end_ms);

    // The silences that are new and end in speech that begins before `settled_ms`, by start. No
    // speech that is still unknown may begin before that.
    std::vector<Silence> Take(int settled_ms);
    // The call is over: those, and the silence up to its end.
    std::vector<Silence> Finish(int end_ms);

  private:
    void Report(int end_ms, std::vector<Silence>* silences) const;

    std::vector<Silence> speech_;  // by start, not yet passed
    int passed_ms_ = 0;            // up to here all is known
};

}  // namespace orvx
