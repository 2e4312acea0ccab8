#include "FileRecognizer.h"

#include <chrono>
#include <new>
#include <utility>

#include "Errors.h"
#include "Interruption.h"
#include "ResultLines.h"
#include "SpeechReader.h"

namespace recognize {

namespace {

using std::chrono::steady_clock;

// Codes with which the engine itself has closed the utterance, or, where the first chunk got them,
// has opened none. An answer of an unknown kind may have opened one, and one that cannot be read
// closes none.
bool IsUtteranceGone(Lexo_ErrCode code, bool is_first, bool is_refused) {
    return (is_first && code != LEXO_ERR_UNKNOWN) ||
           (code == LEXO_ERR_RECOG_FAILED && is_refused) || code == LEXO_ERR_NETWORK_FAILED ||
           code == LEXO_ERR_REALTIME_SESSION_TIMEOUT || code == LEXO_ERR_ALL_SESSION_BUSY;
}

// Codes with which a server may refuse the resource of a request.
bool IsRefusal(Lexo_ErrCode code) {
    return code == LEXO_ERR_PARAM_INVALID || code == LEXO_ERR_NOT_SUPPORT ||
           code == LEXO_ERR_RECOG_FAILED || code == LEXO_ERR_LOAD_RESOURCE_FAILED ||
           code == LEXO_ERR_ACTIVE_RESOURCE_FAILED;
}

bool HasText(const Lexo_RecogResult& result) {
    for (const ResultLine& line : LinesOf(result)) {
        if (!line.text.empty()) {
            return true;
        }
    }
    return false;
}

class Recognition {
  public:
    Recognition(const FileJob& job, Session& session, const FileEvents& events)
        : job_(job), session_(session), events_(events) {}

    FileOutcome Run() {
        const auto start = steady_clock::now();
        FileOutcome outcome;
        Guarded([this] { Send(); });
        outcome.warning = warning_;
        outcome.failure = failure_ ? failure_ : MissingResult();
        outcome.is_left_open = is_open_;
        outcome.audio_seconds = seconds_sent_;
        outcome.elapsed_seconds =
            std::chrono::duration<double>(steady_clock::now() - start).count();
        return outcome;
    }

  private:
    // Runs a step and keeps what goes wrong in it, unless something went wrong before.
    template <typename Step>
    void Guarded(Step step) {
        try {
            step();
        } catch (const AudioError& error) {
            Fail({LEXO_ERR_NONE, error.what()});
        } catch (const InterruptedError& error) {
            Fail({LEXO_ERR_NONE, error.what()});
        } catch (const std::bad_alloc&) {
            Fail({LEXO_ERR_NONE, kNoMemory});
        }
    }

    void Fail(const Failure& failure) {
        if (!failure_) {
            failure_ = failure;
        }
    }

    void Send() {
        SpeechReader reader(job_.file, job_.raw_rate, *job_.format, session_.Channels());
        mode_ = session_.Mode();
        if (mode_ == StreamMode::kOneShot) {
            Guarded([&] { SendWhole(reader); });
        } else {
            Guarded([&] { SendChunks(reader); });
            CloseUtterance();
        }
        warning_ = reader.Source().Warning();
    }

    void SendWhole(SpeechReader& reader) {
        const std::string audio = reader.All(session_.MaxAudioBytes());
        if (audio.empty()) {
            throw AudioError("holds no audio");
        }
        Judge(session_.Recognize(audio, Handler()));
        Sent(reader);
    }

    void SendChunks(SpeechReader& reader) {
        const auto start = steady_clock::now();
        while (!failure_ && !is_over_) {
            const std::string chunk = reader.Next(job_.chunk_ms);
            if (chunk.empty()) {
                break;
            }
            const std::chrono::duration<double> spoken(reader.SecondsRead());
            if (job_.pace &&
                !WaitUntil(start + std::chrono::duration_cast<steady_clock::duration>(spoken))) {
                throw InterruptedError();
            }
            const bool is_first = !std::exchange(has_begun_, true);
            is_open_ = true;
            Judge(session_.Recognize(chunk, Handler()));
            is_open_ = !(failure_ && IsUtteranceGone(failure_->code, is_first, is_refused_));
            carries_resource_ = false;
            Sent(reader);
        }
        if (!has_begun_) {
            throw AudioError("holds no audio");
        }
    }

    void CloseUtterance() {
        if (is_open_) {
            const Lexo_ErrCode code = session_.Close(Handler());
            is_open_ = code != LEXO_ERR_NONE && code != LEXO_ERR_NO_VOICE_INPUT;
            Judge(code);
        }
    }

    ResultHandler Handler() {
        return [this](const Lexo_RecogResult& result) {
            has_result_ = true;
            has_text_ = has_text_ || HasText(result);
            is_over_ = is_over_ || mode_ == StreamMode::kSingle;
            events_.on_result(result);
        };
    }

    void Judge(Lexo_ErrCode code) {
        if (code == LEXO_ERR_NO_VOICE_INPUT) {
            // A continuous stream may be silent for a while and speak later.
            heard_nothing_ = true;
            is_over_ = is_over_ || mode_ == StreamMode::kSingle;
        } else if (code != LEXO_ERR_NONE) {
            const std::optional<std::string> words = job_.log->ServerWords();
            is_refused_ = words.has_value() || !job_.log->IsRead();
            Fail({code, words.value_or("").empty() ? Explain(code) : "the server says: " + *words});
        }
    }

    // What a code without the server's words may mean in this run.
    std::string Explain(Lexo_ErrCode code) const {
        const std::string& resource = session_.BoundResource().Description();
        if (code == LEXO_ERR_NETWORK_FAILED) {
            return "no exchange with " + job_.server +
                   ": it cannot be reached, or closed the connection, as a full server does, or is "
                   "no recognition server";
        }
        if (!is_refused_ || !IsRefusal(code) || !carries_resource_ || resource.empty()) {
            return MeaningOf(code);
        }
        return MeaningOf(code) + "; perhaps the server does not take " + resource +
               (job_.log->IsRead() ? "" : " (the engine's log has the server's words)");
    }

    void Sent(const SpeechReader& reader) {
        seconds_sent_ = reader.SecondsRead();
        events_.on_progress(reader.FractionRead(), seconds_sent_);
    }

    std::optional<Failure> MissingResult() const {
        if (heard_nothing_ && !has_text_) {
            return Failure{LEXO_ERR_NO_VOICE_INPUT, MeaningOf(LEXO_ERR_NO_VOICE_INPUT)};
        }
        // A stream's answers have none where nothing of a grammar or a list was said.
        const bool may_be_silent =
            mode_ != StreamMode::kOneShot && !session_.BoundResource().Description().empty();
        if (!has_result_ && !may_be_silent) {
            return Failure{LEXO_ERR_NONE, "the server sent no result"};
        }
        return std::nullopt;
    }

    const FileJob& job_;
    Session& session_;
    const FileEvents& events_;

    StreamMode mode_ = StreamMode::kOneShot;
    bool has_begun_ = false;        // an utterance of a stream
    bool is_open_ = false;          // the same, and nothing has closed it
    bool is_over_ = false;          // no more audio is wanted
    bool is_refused_ = false;       // the last failure is the server's word, or may be
    bool carries_resource_ = true;  // the next request, if there is one
    bool has_result_ = false;
    bool has_text_ = false;
    bool heard_nothing_ = false;
    double seconds_sent_ = 0;
    std::string warning_;
    std::optional<Failure> failure_;
};

}  // namespace

FileOutcome RecognizeFile(const FileJob& job, Session& session, const FileEvents& events) {
    return Recognition(job, session, events).Run();
}

}  // namespace recognize
