// Who gets which decoder. Everything here runs with the pool's lock held.
#include <algorithm>
#include <new>
#include <utility>

#include "DecoderJob.h"
#include "DecoderPool.h"

namespace orvx {
namespace {

// A stretch that was fed nothing for so long may lose its decoder to one that speaks.
constexpr std::chrono::seconds kStaleAfter{1};

}  // namespace

void DecoderPool::Schedule() try {
    if (is_stopping_) return;
    GiveLeaseholdersTheirEnds();
    GiveCompleteJobs();
    if (!complete_.empty()) return;
    GiveLeaseholdersTheirAudio();
    GiveNewLeases();
} catch (const std::bad_alloc&) {  // what waits goes on waiting until the next time
}

void DecoderPool::GiveLeaseholdersTheirEnds() {
    for (Worker& worker : workers_) {
        if (!worker.task && worker.lease && worker.lease->is_complete) Give(&worker, worker.lease);
    }
}

void DecoderPool::GiveCompleteJobs() {
    while (!complete_.empty()) {
        Worker* const worker = FindIdle(Clock::time_point::max());
        if (worker == nullptr) return;
        if (worker->lease) TakeLease(worker);
        Give(worker, NextComplete());
    }
}

void DecoderPool::GiveLeaseholdersTheirAudio() {
    for (Worker& worker : workers_) {
        if (!worker.task && worker.lease && worker.lease->IsReady()) Give(&worker, worker.lease);
    }
}

void DecoderPool::GiveNewLeases() {
    if (FindIdle(Clock::time_point::max()) == nullptr) return;
    for (auto i = open_.begin(); i != open_.end();) {
        const JobHandle job = *i;
        const auto stale = std::min(Clock::now() - kStaleAfter, job->last_fed);
        Worker* const worker = job->IsReady() ? FindIdle(stale) : nullptr;
        if (worker == nullptr) {
            ++i;
            continue;
        }
        i = open_.erase(i);
        if (worker->lease) TakeLease(worker);
        Give(worker, job);
    }
}

void DecoderPool::Give(Worker* worker, const JobHandle& job) {
    worker->task = job;
    worker->lease = job;
    job->has_lease = true;
    worker->wake.notify_one();
}

// The job that loses its decoder starts again from its beginning when it gets another.
void DecoderPool::TakeLease(Worker* worker) {
    const JobHandle job = worker->lease;
    if (!job->is_cancelled) {
        if (job->is_complete) {
            QueueFirst(job);
        } else {
            open_.push_back(job);
        }
    }
    worker->lease = nullptr;
    job->has_lease = false;
    job->decoded = 0;
}

bool DecoderPool::IsEachBroken() const {
    return std::all_of(workers_.begin(), workers_.end(),
                       [](const Worker& worker) { return worker.is_broken; });
}

// An idle worker without a lease, or else the one whose lease was fed longest ago, before the given
// time.
DecoderPool::Worker* DecoderPool::FindIdle(Clock::time_point leases_older_than) {
    const bool is_each_broken = IsEachBroken();
    Worker* best = nullptr;
    for (Worker& worker : workers_) {
        if (worker.task || (worker.is_broken && !is_each_broken)) continue;
        if (!worker.lease) return &worker;
        if (worker.lease->last_fed < leases_older_than) {
            leases_older_than = worker.lease->last_fed;
            best = &worker;
        }
    }
    return best;
}

void DecoderPool::QueueComplete(const JobHandle& job) {
    const std::uint64_t owner = job->settings.owner;
    const auto found = std::find_if(complete_.begin(), complete_.end(),
                                    [owner](const auto& known) { return known.owner == owner; });
    if (found != complete_.end()) {
        found->jobs.push_back(job);
    } else {
        complete_.push_back({owner, {job}});
    }
}

// Before all others, which come behind it only because it has lost its decoder.
void DecoderPool::QueueFirst(const JobHandle& job) {
    OwnersJobs first{job->settings.owner, {job}};
    const auto found =
        std::find_if(complete_.begin(), complete_.end(),
                     [&](const OwnersJobs& known) { return known.owner == first.owner; });
    if (found != complete_.end()) {
        first.jobs.insert(first.jobs.end(), found->jobs.begin(), found->jobs.end());
        complete_.erase(found);
    }
    complete_.push_front(std::move(first));
}

// Whether a complete stretch that does not yield lacks a decoder.
bool DecoderPool::IsAnybodyWaiting() const {
    return std::any_of(complete_.begin(), complete_.end(),
                       [](const OwnersJobs& owner) { return !owner.jobs.front()->Yields(); });
}

bool DecoderPool::IsShortOneWaiting() const {
    return std::any_of(complete_.begin(), complete_.end(), [](const OwnersJobs& owner) {
        return !owner.jobs.front()->Yields() && !owner.jobs.front()->IsLong();
    });
}

// Of several decoders with long stretches the one that has done least of its work.
bool DecoderPool::MustGiveWay(const Worker& worker) const {
    if (!worker.task->IsLong() || !IsShortOneWaiting()) return false;
    const auto others = [&](const Worker& other) {
        return &other != &worker && other.task && other.task->IsLong() && !other.lets_go;
    };
    return std::any_of(workers_.begin(), workers_.end(), others) &&
           std::none_of(workers_.begin(), workers_.end(), [&](const Worker& other) {
               return others(other) && other.task->decoded < worker.task->decoded;
           });
}

// Whether the decoder is needed more by others than by its task.
bool DecoderPool::MustLetGo(const Worker& worker) const {
    if (!IsAnybodyWaiting()) return false;
    const Job& job = *worker.task;
    return !job.is_complete || job.Yields() || MustGiveWay(worker);
}

DecoderPool::JobHandle DecoderPool::NextComplete() {
    const bool takes_long =
        !IsShortOneWaiting() ||
        std::none_of(workers_.begin(), workers_.end(),
                     [](const Worker& worker) { return worker.task && worker.task->IsLong(); });
    auto next = std::find_if(complete_.begin(), complete_.end(), [=](const OwnersJobs& owner) {
        const Job& job = *owner.jobs.front();
        return !job.Yields() && (takes_long || !job.IsLong());
    });
    if (next == complete_.end()) next = complete_.begin();
    OwnersJobs owner = std::move(*next);
    complete_.erase(next);
    JobHandle job = std::move(owner.jobs.front());
    owner.jobs.pop_front();
    if (!owner.jobs.empty()) complete_.push_back(std::move(owner));
    return job;
}

void DecoderPool::Forget(const JobHandle& job) {
    open_.remove(job);
    for (Worker& worker : workers_) {
        if (!worker.task && worker.lease == job) worker.lease = nullptr;
    }
    for (OwnersJobs& owner : complete_) std::erase(owner.jobs, job);
    std::erase_if(complete_, [](const OwnersJobs& owner) { return owner.jobs.empty(); });
}

}  // namespace orvx
