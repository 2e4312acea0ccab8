// All files of a run over a number of parallel sessions.
//
// Each worker keeps its session from file to file, and all sessions are opened before the first
// file is sent: opening and closing a session waits until every recognition in progress has
// ended, so a session for each file would make the parallel workers go in step. A session is
// replaced only after a failure, when the engine may hold on to an utterance that went wrong.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

#include "CommandLine.h"
#include "Console.h"
#include "EngineLog.h"
#include "FileRecognizer.h"
#include "OrderedOutput.h"
#include "Resource.h"
#include "ResultFormatter.h"
#include "Session.h"

namespace recognize {

class Batch {
  public:
    // Opens the sessions. Throws UsageError, EngineError. The arguments must outlive the batch.
    Batch(const Options& options, const Resource& resource, const EngineLog& log, Console& console);

    // Recognises the files. Returns how many were not recognised.
    std::size_t Run();

  private:
    void StartWorkers(std::vector<std::jthread>* workers);
    void Work(std::unique_ptr<Session>* session);
    // Also writes what there is to say of the file. Throws std::bad_alloc where there is no memory
    // even to say that there is none.
    FileOutcome RecognizeOne(std::size_t index, std::unique_ptr<Session>* session);
    // `session` is null afterwards when it should not be used again. Throws std::bad_alloc.
    FileOutcome ExchangeOrFail(std::size_t index, std::unique_ptr<Session>* session,
                               ResultFormatter& formatter);
    // By a failure.
    static bool IsSpoilt(const Session& session, const FileOutcome& outcome);
    FileOutcome Exchange(std::size_t index, Session& session, ResultFormatter& formatter);
    std::unique_ptr<Session> OpenSession() const;
    FileContext ContextOf(std::size_t index) const;
    void Conclude(std::size_t index, const FileOutcome& outcome, ResultFormatter& formatter);
    void ShowProgress(std::size_t index, double fraction, double seconds);

    const Options& options_;
    const Resource& resource_;
    const EngineLog& log_;
    Console& console_;
    OrderedOutput output_;
    std::vector<std::unique_ptr<Session>> sessions_;  // one for each worker
    std::vector<std::atomic<double>> progress_;       // of each file, 0 to 1
    std::atomic<std::size_t> next_ = 0;               // the next file to begin
    std::atomic<std::size_t> finished_ = 0;
    std::atomic<std::size_t> recognized_ = 0;
};

}  // namespace recognize
