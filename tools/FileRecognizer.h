// The recognition of one file over a session that is free for it.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "AudioEncoder.h"
#include "EngineLog.h"
#include "Outcome.h"
#include "Session.h"

namespace recognize {

struct FileJob {
    std::string server;  // as the user named it
    const EngineLog* log = nullptr;
    std::string file;
    std::optional<int> raw_rate;  // hertz, for raw recordings
    const AudioFormat* format = nullptr;
    int chunk_ms = 100;  // audio in one call of a stream
    bool pace = false;   // a stream goes at the speed of speech
};

struct FileEvents {
    ResultHandler on_result;
    // The part of the recording that was sent, 0 to 1, and its seconds.
    std::function<void(double fraction, double seconds)> on_progress;
};

// Sends the recording, whole or as a stream as the session wants it, hands on the results as they
// come and closes the utterance, whatever happens. A result alone is success: a recording in which
// no speech is heard counts as not recognised.
FileOutcome RecognizeFile(const FileJob& job, Session& session, const FileEvents& events);

}  // namespace recognize
