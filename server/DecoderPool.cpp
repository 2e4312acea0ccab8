#include "DecoderPool.h"

#include <algorithm>
#include <exception>
#include <future>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include "AudioInput.h"
#include "DecoderJob.h"
#include "Failure.h"

namespace orvx {
namespace {

// To stop an engine in the middle of a call costs loading it anew: shorter calls are let end.
constexpr std::chrono::seconds kGrace{1};

std::chrono::milliseconds Speech(const DecoderPool::Job& job) {
    return std::chrono::milliseconds(job.samples.size() * 1000 / kSampleRateHz);
}

std::string EffortText(const DecoderPool::Job& job, std::chrono::milliseconds most) {
    return std::to_string(most.count()) + " ms of work on " + std::to_string(Speech(job).count()) +
           " ms of speech were not enough; take a smaller resource" +
           (job.settings.max_sentences > 1 ? " or ask for no alternatives" : "");
}

}  // namespace

DecoderPool::DecoderPool(const RecogniserFactory& factory, std::size_t decoders,
                         const EffortLimits& effort_limits)
    : effort_limits_(effort_limits) {
    Load(factory, decoders);
    for (Worker& worker : workers_) {
        worker.thread = std::thread([this, &worker] {
            Run(&worker);
            worker.recogniser = nullptr;  // here, as it may take a while to end
        });
    }
}

DecoderPool::~DecoderPool() {
    Stop();
}

void DecoderPool::Load(const RecogniserFactory& factory, std::size_t decoders) {
    std::vector<std::future<std::unique_ptr<Recogniser>>> loading;
    for (std::size_t i = 0; i < decoders; ++i) {
        loading.push_back(std::async(std::launch::async, factory));
    }
    for (auto& recogniser : loading) {
        Worker& worker = workers_.emplace_back();
        worker.recogniser = recogniser.get();
        worker.recogniser->SetWatch(
            [this, &worker](auto taken) { return MayGoOn(&worker, taken); });
    }
}

DecoderPool::JobHandle DecoderPool::Open(const JobSettings& settings) {
    auto job = std::make_shared<Job>(settings);
    const Lock lock(mutex_);
    open_.push_back(job);
    return job;
}

void DecoderPool::Feed(const JobHandle& job, std::span<const std::int16_t> samples) {
    const Lock lock(mutex_);
    job->samples.insert(job->samples.end(), samples.begin(), samples.end());
    job->last_fed = Clock::now();
    if (job->IsReady()) Schedule();
}

void DecoderPool::Close(const JobHandle& job, Done done) {
    const Lock lock(mutex_);
    if (is_stopping_) return;
    job->done = std::move(done);
    job->is_complete = true;
    if (!job->has_lease) {
        open_.remove(job);
        QueueComplete(job);
    }
    Schedule();
}

void DecoderPool::Cancel(const JobHandle& job) {
    Done dropped;  // destroyed outside the lock: what it holds may call back
    const Lock lock(mutex_);
    job->is_cancelled = true;
    std::swap(dropped, job->done);
    Forget(job);
    Schedule();
}

void DecoderPool::Stop() {
    std::vector<Done> dropped;
    {
        const Lock lock(mutex_);
        is_stopping_ = true;
        for (Worker& worker : workers_) worker.wake.notify_one();
    }
    for (Worker& worker : workers_) {
        if (worker.thread.joinable()) worker.thread.join();
    }
    const Lock lock(mutex_);
    for (Worker& worker : workers_) {
        for (const JobHandle& job : {worker.task, worker.lease}) {
            if (job) dropped.push_back(std::move(job->done));
        }
    }
    for (const OwnersJobs& owner : complete_) {
        for (const JobHandle& job : owner.jobs) dropped.push_back(std::move(job->done));
    }
    complete_.clear();
    open_.clear();
}

// ---- The decoders' threads ----------------------------------------------------------------------

void DecoderPool::Run(Worker* worker) {
    constexpr std::chrono::seconds kRestoreInterval{1};
    const auto is_wanted = [&] { return is_stopping_ || worker->task != nullptr; };
    Lock lock(mutex_);
    while (true) {
        if (!worker->is_broken) {
            worker->wake.wait(lock, is_wanted);
        } else if (!worker->wake.wait_for(lock, kRestoreInterval, is_wanted)) {
            Restore(worker, &lock);
            continue;
        }
        if (is_stopping_) return;
        Work(worker, &lock);
        if (is_stopping_) return;
        worker->task = nullptr;
        worker->lets_go = false;
        Schedule();
    }
}

// Meanwhile it gets no task, unless every decoder is broken.
void DecoderPool::Restore(Worker* worker, Lock* lock) {
    lock->unlock();
    bool is_broken = false;
    try {
        worker->recogniser->Restore();
    } catch (const std::exception&) {
        is_broken = true;
    }
    lock->lock();
    worker->is_broken = is_broken;
    if (!is_broken) Schedule();
}

// Returns with the lock held.
void DecoderPool::Work(Worker* worker, Lock* lock) try {
    try {
        Serve(worker, lock);
    } catch (const std::exception& error) {
        if (!lock->owns_lock()) lock->lock();
        if (!is_stopping_) Recover(worker, lock, error);
    }
} catch (const std::bad_alloc&) {  // not even to say more than this
    if (!lock->owns_lock()) lock->lock();
    worker->task->decoded = 0;
    Deliver(worker, lock, {{}, "no memory"});
}

void DecoderPool::Recover(Worker* worker, Lock* lock, const std::exception& error) {
    Job& job = *worker->task;
    // Nobody wants it any more, or others come first.
    if (dynamic_cast<const Interrupted*>(&error) != nullptr) return TakeLease(worker);
    if (dynamic_cast<const NotLoaded*>(&error) != nullptr) {
        worker->is_broken = true;
        if (!IsEachBroken()) return TakeLease(worker);
        job.has_failed = true;
    }
    // While it was open less of it was known.
    if (dynamic_cast<const TooHard*>(&error) != nullptr && job.is_complete) job.has_failed = true;
    Fail(worker, lock, FailureText(error));
}

// Decodes what there is of the worker's task. Returns with the lock held.
void DecoderPool::Serve(Worker* worker, Lock* lock) {
    const JobHandle job = worker->task;
    if (job->decoded == 0) StartJob(worker, lock);
    while (!is_stopping_ && !job->is_cancelled) {
        if (!DecodeSlice(worker, lock)) {
            if (!job->is_complete || FinishJob(worker, lock)) return;
        }
        if (!MustLetGo(*worker)) continue;
        if (job->is_complete) TakeLease(worker);
        return;
    }
    if (!is_stopping_) worker->lease = nullptr;
}

void DecoderPool::StartJob(Worker* worker, Lock* lock) {
    Job& job = *worker->task;
    const std::size_t opening = std::min(job.settings.opening_samples, job.samples.size());
    const std::vector<std::int16_t> samples(
        job.samples.begin(), job.samples.begin() + static_cast<std::ptrdiff_t>(opening));
    job.effort = {};
    lock->unlock();
    // Not counted: it clears away what the stretch before has left.
    try {
        worker->recogniser->Start(job.settings.task, samples);
    } catch (const Interrupted&) {
        lock->lock();
        if (IsTooMuch(job)) throw std::runtime_error(EffortText(job, MostEffort(job)));
        throw;
    }
    lock->lock();
    worker->is_broken = false;
}

// One slice, shorter only at the end of a complete job. False if there is none.
bool DecoderPool::DecodeSlice(Worker* worker, Lock* lock) {
    Job& job = *worker->task;
    const std::size_t left = job.samples.size() - job.decoded;
    if (left == 0 || (left < kDecodedSliceSamples && !job.is_complete)) return false;
    const auto from = job.samples.begin() + static_cast<std::ptrdiff_t>(job.decoded);
    const std::size_t count = std::min(left, kDecodedSliceSamples);
    const std::vector<std::int16_t> slice(from, from + static_cast<std::ptrdiff_t>(count));
    job.decoded += count;
    Engage(worker, lock, [&] { worker->recogniser->Feed(slice); });
    CheckEffort(job);
    return true;
}

// A call of the engine, without the lock.
template <typename Call>
void DecoderPool::Engage(Worker* worker, Lock* lock, const Call& call) const {
    Job& job = *worker->task;
    lock->unlock();
    const auto before = worker->recogniser->ProcessorTime();
    try {
        call();
    } catch (const Interrupted&) {
        lock->lock();
        CheckEffort(job);
        throw;
    }
    const auto time = worker->recogniser->ProcessorTime() - before;
    lock->lock();
    job.effort += time;
    job.is_heavy = job.is_heavy || job.effort > effort_limits_.of_short;
}

std::chrono::milliseconds DecoderPool::MostEffort(const Job& job) const {
    return effort_limits_.at_least + effort_limits_.times_speech * Speech(job);
}

bool DecoderPool::IsTooMuch(const Job& job) const {
    return job.effort > MostEffort(job);
}

void DecoderPool::CheckEffort(const Job& job) const {
    if (IsTooMuch(job)) throw TooHard(EffortText(job, MostEffort(job)));
}

// Whether a call for the worker's task may go on. Asked by the worker's thread, in that call. A
// short call is let end even if nobody wants its result: the engine would have to be loaded anew.
bool DecoderPool::MayGoOn(Worker* worker, std::chrono::nanoseconds taken) {
    const Lock lock(mutex_);
    if (is_stopping_) return false;
    if (!worker->task) return true;  // it is being loaded again
    Job& job = *worker->task;
    if (job.effort + taken > MostEffort(job) + kGrace) {
        job.effort += taken;
        return false;
    }
    job.is_heavy = job.is_heavy || job.effort + taken > effort_limits_.of_short;
    if (!job.is_heavy || taken < kGrace) return true;
    worker->lets_go = job.is_cancelled || MustLetGo(*worker);
    return !worker->lets_go;
}

// One step of the stretch's end. False if it takes more of them.
bool DecoderPool::FinishJob(Worker* worker, Lock* lock) {
    Job& job = *worker->task;
    std::optional<Heard> heard;
    Engage(worker, lock, [&] { heard = worker->recogniser->Finish(job.settings.max_sentences); });
    if (!heard) {
        CheckEffort(job);
        return false;
    }
    Deliver(worker, lock, {std::move(*heard), std::nullopt});
    return true;
}

void DecoderPool::Fail(Worker* worker, Lock* lock, const std::string& what) {
    const JobHandle job = worker->task;
    if (std::exchange(job->has_failed, true)) return Deliver(worker, lock, {{}, what});
    TakeLease(worker);
}

void DecoderPool::Deliver(Worker* worker, Lock* lock, JobResult result) {
    const Done done = std::exchange(worker->task->done, nullptr);
    worker->lease = nullptr;
    worker->task->has_lease = false;
    lock->unlock();
    try {
        if (done) done(std::move(result));
    } catch (const std::bad_alloc&) {  // nobody can be told
    }
    lock->lock();
}

}  // namespace orvx
