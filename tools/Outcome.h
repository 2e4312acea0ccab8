// How the recognition of one file went.
#pragma once

#include <Lexo.h>

#include <optional>
#include <string>

#include "ErrorNames.h"

namespace recognize {

struct Failure {
    Lexo_ErrCode code = LEXO_ERR_NONE;  // NONE: the failure is the program's or the recording's
    std::string meaning;

    std::string Text() const {
        return (code == LEXO_ERR_NONE ? "" : NameOf(code) + ": ") + meaning;
    }
};

struct FileOutcome {
    double audio_seconds = 0;    // sent to the server
    double elapsed_seconds = 0;  // from opening the file to the last answer
    std::string warning;         // about a recording that could be used; empty for none
    std::optional<Failure> failure;
    bool is_left_open = false;  // the utterance: another file's audio would be heard as its end
};

}  // namespace recognize
