// The decoders, one thread each, and who may use them when.
//
// A stretch of speech is a job. While its audio still arrives it may get the lease of a decoder
// that is free, and is decoded as it comes, so that its end is answered soon. But a lease is only a
// loan: the job keeps all of its audio, and when a stretch that is complete finds no other decoder,
// or the holder has been silent while another stretch speaks, the lease goes over and its former
// holder is decoded again later, from its beginning. So a stalled client keeps no decoder from
// anybody, and there may be many more open stretches than decoders. Giving every open stretch a
// decoder of its own would be simpler, but each costs 100 MB.
//
// Complete stretches go first, and turn about between their owners: a long recording does not make
// a short one wait for all of its stretches. Those whose clients may have gone come last, and give
// their decoder back as soon as somebody else needs it.
//
// A minute of noise takes a decoder the better part of a minute, and a second of speech several
// seconds with a large grammar. So long stretches, and those, hold one decoder for certain, and the
// others only as long as no short one waits. What keeps a decoder busy for twenty times as long as
// somebody spoke, and for ten seconds more, is given up, in the middle of a call if need be.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "Recogniser.h"

namespace orvx {

struct JobSettings {
    std::uint64_t owner;          // jobs of the same request or utterance share it
    std::size_t opening_samples;  // decoding starts when so many are there, or all
    std::size_t max_sentences;    // as in Recogniser::Finish
    // While it is true, all other complete stretches come before this one. Null: never.
    std::shared_ptr<const std::atomic<bool>> yields = nullptr;
    ListeningTask task{};
};

// How long an engine works on a stretch, in processor time.
struct EffortLimits {
    std::chrono::milliseconds of_short{3000};  // what takes longer counts as long
    // It is given up beyond both together.
    std::chrono::milliseconds at_least{10000};
    int times_speech = 20;
};

struct JobResult {
    Heard heard;
    std::optional<std::string> engine_error;  // why there are none, if the engine failed
};

// Every member may be called by any thread at any time.
class DecoderPool {
  public:
    struct Job;
    using JobHandle = std::shared_ptr<Job>;
    using Done = std::function<void(JobResult)>;

    // Loads all decoders, in parallel. Throws what the factory throws.
    DecoderPool(const RecogniserFactory& factory, std::size_t decoders,
                const EffortLimits& effort_limits = {});
    ~DecoderPool();
    DecoderPool(const DecoderPool&) = delete;
    DecoderPool& operator=(const DecoderPool&) = delete;

    JobHandle Open(const JobSettings& settings);
    void Feed(const JobHandle& job, std::span<const std::int16_t> samples);
    // The stretch is complete. `done` is called once, by a decoder's thread, and must be quick; it
    // is destroyed uncalled if the job is cancelled or the pool stops first.
    void Close(const JobHandle& job, Done done);
    // Nobody wants the result any more. A `done` that is being called is not waited for.
    void Cancel(const JobHandle& job);

    // Abandons all jobs and ends the threads, at once where the engine can be stopped in a call.
    void Stop();

  private:
    using Clock = std::chrono::steady_clock;

    struct Worker {
        std::unique_ptr<Recogniser> recogniser;
        std::thread thread;
        std::condition_variable wake;
        JobHandle task;          // what it works on; null: it waits
        JobHandle lease;         // whose audio its recogniser has begun to decode
        bool lets_go = false;    // it is about to give its task back
        bool is_broken = false;  // its engine cannot be loaded at present
    };
    struct OwnersJobs {
        std::uint64_t owner;
        std::deque<JobHandle> jobs;
    };
    using Lock = std::unique_lock<std::mutex>;

    void Load(const RecogniserFactory& factory, std::size_t decoders);
    void Run(Worker* worker);
    void Restore(Worker* worker, Lock* lock);
    void Work(Worker* worker, Lock* lock);
    void Recover(Worker* worker, Lock* lock, const std::exception& error);
    void Serve(Worker* worker, Lock* lock);
    void StartJob(Worker* worker, Lock* lock);
    bool DecodeSlice(Worker* worker, Lock* lock);
    template <typename Call>
    void Engage(Worker* worker, Lock* lock, const Call& call) const;
    std::chrono::milliseconds MostEffort(const Job& job) const;
    bool IsTooMuch(const Job& job) const;
    void CheckEffort(const Job& job) const;
    bool MayGoOn(Worker* worker, std::chrono::nanoseconds taken);
    bool FinishJob(Worker* worker, Lock* lock);
    void Fail(Worker* worker, Lock* lock, const std::string& what);
    void Deliver(Worker* worker, Lock* lock, JobResult result);

    // All of these need the lock.
    void Schedule();
    void GiveLeaseholdersTheirEnds();
    void GiveCompleteJobs();
    void GiveLeaseholdersTheirAudio();
    void GiveNewLeases();
    void Give(Worker* worker, const JobHandle& job);
    void TakeLease(Worker* worker);
    bool IsEachBroken() const;
    Worker* FindIdle(Clock::time_point leases_older_than);
    bool IsAnybodyWaiting() const;
    bool IsShortOneWaiting() const;
    bool MustGiveWay(const Worker& worker) const;
    bool MustLetGo(const Worker& worker) const;
    void QueueComplete(const JobHandle& job);
    void QueueFirst(const JobHandle& job);
    JobHandle NextComplete();
    void Forget(const JobHandle& job);

    const EffortLimits effort_limits_;
    std::mutex mutex_;
    bool is_stopping_ = false;
    std::deque<OwnersJobs> complete_;  // jobs that wait, of the owner whose turn it is in front
    std::list<JobHandle> open_;        // not complete and without a lease, oldest first
    std::deque<Worker> workers_;       // never changes once loaded
};

}  // namespace orvx
