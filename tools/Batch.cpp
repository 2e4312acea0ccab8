#include "Batch.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <numeric>
#include <thread>
#include <utility>

#include "Errors.h"
#include "Interruption.h"

namespace recognize {

namespace {

std::unique_ptr<ResultFormatter> MakeFormatter(OutputFormat format, const FileContext& context) {
    switch (format) {
        case OutputFormat::kJson:
            return MakeJsonFormatter(context);
        case OutputFormat::kSrt:
            return MakeSrtFormatter(context);
        case OutputFormat::kVtt:
            return MakeVttFormatter(context);
        case OutputFormat::kText:
            break;
    }
    return MakeTextFormatter(context);
}

std::string Timing(const FileOutcome& outcome) {
    char text[128];
    const double factor =
        outcome.audio_seconds > 0 ? outcome.elapsed_seconds / outcome.audio_seconds : 0;
    std::snprintf(text, sizeof text, "%.2f s of audio in %.2f s, real-time factor %.2f",
                  outcome.audio_seconds, outcome.elapsed_seconds, factor);
    return text;
}

std::string ShownName(const std::string& file) {
    return file == "-" ? "standard input" : file;
}

}  // namespace

Batch::Batch(const Options& options, const Resource& resource, const EngineLog& log,
             Console& console)
    : options_(options),
      resource_(resource),
      log_(log),
      console_(console),
      output_(options.files.size(), console),
      progress_(options.files.size()) {
    const auto jobs = std::min(static_cast<std::size_t>(options.jobs), options.files.size());
    while (sessions_.size() < jobs) {
        sessions_.push_back(OpenSession());
    }
}

std::size_t Batch::Run() {
    {
        std::vector<std::jthread> workers;
        StartWorkers(&workers);
    }
    sessions_.clear();  // not before: others' exchanges would wait until each one is stopped
    console_.EndProgress();
    const std::size_t failed = options_.files.size() - recognized_;
    if (failed > 0 && options_.files.size() > 1 && !console_.ResultsLost()) {
        console_.Message(std::to_string(failed) + " of " + std::to_string(options_.files.size()) +
                         " files not recognised");
    }
    return failed;
}

// Where there are no more threads to be had, those that are there do the work.
void Batch::StartWorkers(std::vector<std::jthread>* workers) {
    try {
        for (auto& session : sessions_) {
            workers->emplace_back([this, &session] { Work(&session); });
        }
    } catch (const std::exception&) {
        if (workers->empty()) {
            Work(&sessions_.front());
        }
    }
}

void Batch::Work(std::unique_ptr<Session>* session) {
    while (!InterruptionRequested()) {
        const std::size_t index = next_++;
        if (index >= options_.files.size()) {
            break;
        }
        double seconds = 0;
        try {
            const FileOutcome outcome = RecognizeOne(index, session);
            recognized_ += outcome.failure ? 0 : 1;
            seconds = outcome.audio_seconds;
        } catch (const std::bad_alloc&) {
            console_.Message("a file takes more memory than there is, even to tell its name");
        }
        ++finished_;
        output_.Finish(index);
        ShowProgress(index, 1, seconds);
    }
}

// A half-sent utterance is left behind with its session, and so is one that got no memory for its
// texts. Otherwise it is kept: to stop it would take as long as the slowest answer that others wait
// for.
bool Batch::IsSpoilt(const Session& session, const FileOutcome& outcome) {
    const Lexo_ErrCode code = outcome.failure->code;
    if (session.Mode() == StreamMode::kOneShot) {
        return code == LEXO_ERR_MEMORY;
    }
    return outcome.is_left_open || (code != LEXO_ERR_NONE && code != LEXO_ERR_NO_VOICE_INPUT);
}

// Where there is no memory for what one file gives, the others go on: it is free again by then.
FileOutcome Batch::RecognizeOne(std::size_t index, std::unique_ptr<Session>* session) {
    FileOutcome outcome;
    try {
        const auto formatter = MakeFormatter(options_.format, ContextOf(index));
        output_.AddResult(index, formatter->Begin());
        outcome = ExchangeOrFail(index, session, *formatter);
        Conclude(index, outcome, *formatter);
    } catch (const std::bad_alloc&) {
        session->reset();  // its utterance may be open still
        outcome.failure = Failure{LEXO_ERR_NONE, kNoMemory};
        Conclude(index, outcome, *MakeFormatter(options_.format, ContextOf(index)));
    }
    return outcome;
}

FileOutcome Batch::ExchangeOrFail(std::size_t index, std::unique_ptr<Session>* session,
                                  ResultFormatter& formatter) {
    FileOutcome outcome;
    try {
        if (*session == nullptr) {
            *session = OpenSession();
        }
        outcome = Exchange(index, **session, formatter);
    } catch (const EngineError& error) {
        outcome.failure = Failure{error.Code(), error.Meaning()};
    }
    if (outcome.failure && *session != nullptr && IsSpoilt(**session, outcome)) {
        session->reset();
    }
    return outcome;
}

FileOutcome Batch::Exchange(std::size_t index, Session& session, ResultFormatter& formatter) {
    FileJob job;
    job.log = &log_;
    job.server = options_.server;
    job.file = options_.files[index];
    job.raw_rate = options_.raw_rate;
    job.format = &FindAudioFormat(options_.audio_format);
    job.chunk_ms = options_.chunk_ms;
    job.pace = options_.pace;
    const FileEvents events = {
        [&](const Lexo_RecogResult& result) { output_.AddResult(index, formatter.Add(result)); },
        [&](double fraction, double seconds) { ShowProgress(index, fraction, seconds); }};
    return RecognizeFile(job, session, events);
}

std::unique_ptr<Session> Batch::OpenSession() const {
    return std::make_unique<Session>(options_.capability, options_.parameters, resource_);
}

FileContext Batch::ContextOf(std::size_t index) const {
    return {options_.files[index], options_.capability, index, options_.files.size(),
            options_.verbose};
}

void Batch::Conclude(std::size_t index, const FileOutcome& outcome, ResultFormatter& formatter) {
    const std::string name = ShownName(options_.files[index]);
    std::vector<OrderedOutput::Piece> pieces;
    pieces.push_back({false, formatter.Finish(outcome)});
    if (!outcome.warning.empty()) {
        pieces.push_back({true, "warning: " + name + " " + outcome.warning});
    }
    if (outcome.failure) {
        pieces.push_back({true, name + ": " + outcome.failure->Text()});
    }
    if (options_.verbose) {
        pieces.push_back({true, name + ": " + Timing(outcome)});
    }
    output_.Add(index, std::move(pieces));
}

void Batch::ShowProgress(std::size_t index, double fraction, double seconds) {
    progress_[index] = fraction;
    const double sum = std::accumulate(progress_.begin(), progress_.end(), 0.0);
    const std::size_t count = options_.files.size();
    char text[64];
    if (count > 1) {
        std::snprintf(text, sizeof text, "%zu of %zu files", finished_.load(), count);
    } else {
        std::snprintf(text, sizeof text, "%.0f s of audio", seconds);
    }
    console_.ShowProgress(sum / static_cast<double>(count), text);
}

}  // namespace recognize
