// A result record of any capability as lines for a reader: the common ground of the formats made
// for people. JSON does without, as it keeps the records' own fields.
#pragma once

#include <Lexo.h>

#include <optional>
#include <string>
#include <vector>

namespace recognize {

struct ResultLine {
    enum class Kind {
        kText,         // what was said, the best sentence of a segment
        kSpotted,      // a keyword that was looked for
        kAlternative,  // a further sentence of the line before
        kWord,         // a word or character of the sentence before
        kEmotion,      // in the segment before
        kKeyword,      // in the segment before
        kSilence
    };

    Kind kind = Kind::kText;
    int start_ms = 0;
    int end_ms = 0;
    std::string label;  // "agent", "emotion" ...; may be empty
    std::string text;
    std::optional<int> score;
};

std::vector<ResultLine> LinesOf(const Lexo_RecogResult& result);

// "01:02.345", or "1:01:02.345" from one hour on. A negative time counts as 0.
std::string ClockTime(int milliseconds);

}  // namespace recognize
