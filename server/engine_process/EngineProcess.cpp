#include "EngineProcess.h"

#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "EngineChannel.h"
#include "EngineCodec.h"
#include "EngineMessages.pb.h"
#include "Failure.h"
#include "FileDescriptor.h"
#include "Logger.h"

namespace orvx {
namespace {

constexpr double kMegabyte = 1e6;

double ResidentMegabytes(pid_t process) {
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/" + std::to_string(process) + "/statm") >> total >> resident;
    return static_cast<double>(resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) /
           kMegabyte;
}

std::string EndText(int status) {
    if (WIFSIGNALED(status)) return "by signal " + std::to_string(WTERMSIG(status));
    return "with status " + std::to_string(WEXITSTATUS(status));
}

// The file that runs here, even where another has taken its place. Its own name is better where it
// still has one: what traces programs knows it by that.
std::string OwnProgram() {
    const char* const link = "/proc/self/exe";
    std::error_code error;
    const std::filesystem::path path = std::filesystem::read_symlink(link, error);
    return std::filesystem::exists(path, error) ? path.string() : link;
}

// Its standard input is the socket, and it has nothing else of the server's but the other standard
// streams: a connection that it held would not end. What signals the server ignores, it does, too.
pid_t Spawn(const std::string& program, int socket) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, socket, STDIN_FILENO);
    ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    ::posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    const char* const arguments[] = {"orvx-server", kEngineOption, nullptr};
    pid_t pid = 0;
    const int error = ::posix_spawn(&pid, program.c_str(), &actions, &attributes,
                                    const_cast<char* const*>(arguments), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    if (error == 0) return pid;
    throw std::system_error(error, std::generic_category(), "cannot start a decoder, " + program);
}

// A running process and the channel to it. Ends with the object.
class Child {
  public:
    explicit Child(const std::string& program) : Child(program, Sockets()) {}
    ~Child() {
        channel_.Shut();
        for (int i = 0; i < kMostWaits && !HasEnded(); ++i) std::this_thread::sleep_for(kWait);
        Kill();
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    EngineChannel& Channel() { return channel_; }
    pid_t Pid() const { return pid_; }

    // Of all its threads, so far.
    std::chrono::nanoseconds ProcessorTime() const {
        clockid_t clock{};
        timespec time{};
        if (::clock_getcpuclockid(pid_, &clock) == 0) ::clock_gettime(clock, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    }

    // Ends it if it has not ended by itself: its status.
    int Kill() {
        if (!is_ended_) ::kill(pid_, SIGKILL);
        while (!HasEnded(0)) continue;
        return status_;
    }
    bool HasEnded() { return HasEnded(WNOHANG); }

  private:
    // For it to end by itself. It needs more than one only where it is traced.
    static constexpr std::chrono::milliseconds kWait{2};
    static constexpr int kMostWaits = 500;

    bool HasEnded(int options) {
        if (is_ended_) return true;
        const pid_t ended = ::waitpid(pid_, &status_, options);
        is_ended_ = ended == pid_ || (ended < 0 && errno != EINTR);
        return is_ended_;
    }

    struct Sockets {
        Sockets() {
            if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0) return;
            throw std::system_error(errno, std::generic_category(), "cannot start a decoder");
        }
        int ends[2] = {};
    };

    Child(const std::string& program, const Sockets& sockets)
        : channel_(sockets.ends[0]), pid_(Spawn(program, FileDescriptor(sockets.ends[1]).Get())) {}

    EngineChannel channel_;
    const pid_t pid_;
    int status_ = 0;
    bool is_ended_ = false;
};

class EngineProcess : public Recogniser {
  public:
    EngineProcess(PocketSphinxModel model, bool is_verbose, std::string program)
        : model_(std::move(model)), is_verbose_(is_verbose), program_(std::move(program)) {
        Launch();
    }

    void Start(const ListeningTask& task, std::span<const std::int16_t> opening) override;
    void Feed(std::span<const std::int16_t> samples) override;
    std::optional<Heard> Finish(std::size_t max_sentences) override;
    void SetWatch(const Watch& watch) override { watch_ = watch; }
    void Restore() override {
        if (!child_) Launch();
    }
    std::chrono::nanoseconds ProcessorTime() const override {
        return child_ ? child_->ProcessorTime() : std::chrono::nanoseconds{};
    }

  private:
    void Launch();
    void DropUnfit();
    engine::Reply Ask(const engine::Call& call);
    void Exchange(const engine::Call& call, engine::Reply* reply);

    const PocketSphinxModel model_;
    const bool is_verbose_;
    const std::string program_;
    Watch watch_;
    std::unique_ptr<Child> child_;
    std::uint64_t sent_resource_ = 0;  // that the child has; 0: none
    // Its processor time before the stretch that it has not finished, if there is one.
    std::optional<std::chrono::nanoseconds> begun_;
};

void EngineProcess::Launch() {
    child_ = std::make_unique<Child>(program_.empty() ? OwnProgram() : program_);
    sent_resource_ = 0;
    begun_.reset();
    engine::Call call;
    engine::Load* const load = call.mutable_load();
    load->set_acoustic_model(model_.acoustic_model);
    load->set_language_model(model_.language_model);
    load->set_dictionary(model_.dictionary);
    load->set_is_verbose(is_verbose_);
    try {
        Ask(call);
    } catch (...) {
        child_ = nullptr;
        throw;
    }
    ORVX_LOG_INFO("decoder %d: %.0f MB", static_cast<int>(child_->Pid()),
                  ResidentMegabytes(child_->Pid()));
}

// A child that has ended, or that would have to end a stretch first which nobody wants any more:
// that may take it much longer than to load another child takes.
void EngineProcess::DropUnfit() {
    constexpr std::chrono::milliseconds kMostAbandoned{500};
    if (!child_) return;
    const int pid = static_cast<int>(child_->Pid());
    if (child_->HasEnded()) {
        ORVX_LOG_WARNING("decoder %d: ended %s", pid, EndText(child_->Kill()).c_str());
        child_ = nullptr;
    } else if (begun_ && child_->ProcessorTime() - *begun_ > kMostAbandoned) {
        ORVX_LOG_INFO("decoder %d: replaced, its stretch was given up or has gone to another", pid);
        child_ = nullptr;
    }
}

void EngineProcess::Start(const ListeningTask& task, std::span<const std::int16_t> opening) {
    DropUnfit();
    try {
        Restore();
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception& error) {
        ORVX_LOG_WARNING("a decoder cannot be started: %s", error.what());
        throw NotLoaded(FailureText(error));
    }
    begun_ = child_->ProcessorTime();
    engine::Call call;
    engine::Start* const start = call.mutable_start();
    start->set_wants_sentences(task.wants_sentences);
    start->set_opening(PackSamples(opening));
    if (task.resource) {
        const bool is_sent = task.resource->id == std::exchange(sent_resource_, 0);
        start->set_resource_use(is_sent ? engine::Start::SAME : engine::Start::NEW);
        if (!is_sent) PackResource(*task.resource, start->mutable_resource());
    }
    Ask(call);
    if (task.resource) sent_resource_ = task.resource->id;
}

void EngineProcess::Feed(std::span<const std::int16_t> samples) {
    engine::Call call;
    call.set_feed(PackSamples(samples));
    Ask(call);
}

std::optional<Heard> EngineProcess::Finish(std::size_t max_sentences) {
    engine::Call call;
    call.set_finish(static_cast<std::uint32_t>(max_sentences));
    const engine::Reply reply = Ask(call);
    if (!reply.has_heard()) return std::nullopt;
    begun_.reset();
    return UnpackHeard(reply.heard());
}

engine::Reply EngineProcess::Ask(const engine::Call& call) {
    if (!child_) throw std::runtime_error("the decoder has ended");
    engine::Reply reply;
    try {
        Exchange(call, &reply);
    } catch (...) {  // a message may be under way
        child_ = nullptr;
        throw;
    }
    if (reply.failure() == engine::Reply::TOO_HARD) throw TooHard(reply.error());
    if (reply.failure() != engine::Reply::NONE) throw std::runtime_error(reply.error());
    return reply;
}

void EngineProcess::Exchange(const engine::Call& call, engine::Reply* reply) {
    const int pid = static_cast<int>(child_->Pid());
    const auto before = child_->ProcessorTime();
    const auto on_wait = [&] {
        if (!watch_ || watch_(child_->ProcessorTime() - before)) return;
        ORVX_LOG_WARNING("decoder %d: stopped in the middle of its work", pid);
        child_->Kill();
        throw Interrupted("the decoder was stopped");
    };
    EngineChannel& channel = child_->Channel();
    if (channel.Send(call, on_wait) && channel.Receive(reply, on_wait)) return;
    const std::string end = EndText(child_->Kill());
    ORVX_LOG_WARNING("decoder %d: ended %s", pid, end.c_str());
    throw std::runtime_error("the decoder ended " + end);
}

}  // namespace

RecogniserFactory EngineProcessFactory(PocketSphinxModel model, bool is_verbose,
                                       std::string program) {
    return [model = std::move(model), is_verbose, program = std::move(program)] {
        return std::make_unique<EngineProcess>(model, is_verbose, program);
    };
}

}  // namespace orvx
