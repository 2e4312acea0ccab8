// What the answer to a request says, before it is put into a message.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Failure.h"
#include "Recogniser.h"

namespace orvx {

// Bits of an answer's recog_status.
enum RecogStatus { kMoreAudioWanted = 1, kResultPresent = 2 };

enum class Role { kUnknown, kAgent, kUser };

// All times count from the start of the utterance's audio.

struct SpottedKeyword {
    int index;         // in its list, from 0
    std::string text;  // as the list has it
    int start_ms;
    int end_ms;
    int score;  // 0..100
};

// One stretch of speech.
struct Segment {
    int start_ms;
    int end_ms;
    Role role = Role::kUnknown;
    std::vector<RecognisedSentence> sentences;  // readings of it, best first
    std::vector<SpottedKeyword> keywords;
};

struct Silence {
    int start_ms;
    int end_ms;
};

struct Outcome {
    std::optional<Failure> failure;
    int recog_status = 0;
    std::vector<Segment> segments;  // by start
    std::vector<Silence> silences;  // of an analysis; by start
    bool is_over = false;           // nothing more can come of the utterance
};

}  // namespace orvx
