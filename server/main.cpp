// orvx-server: starts the server, or one of its decoders, and says when it is ready.
#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "EngineProcess.h"
#include "LogText.h"
#include "Logger.h"
#include "Options.h"
#include "Server.h"

namespace {

constexpr int kStartFailed = 1;

void StartLogging(const orvx::Options& options) {
    const std::string file = orvx::FindLogConfig(options.log_config);
    if (!file.empty() && g_logger.Init(file.c_str(), "orvx-server")) return;
    std::cerr << "orvx-server: no log configuration " << (file.empty() ? "found" : "in " + file)
              << "; logging to standard output\n";
}

// Whoever waits for the file never sees half of it. A device, a pipe or a link is not replaced, but
// written to.
void WritePortFile(const std::string& file, unsigned short port) {
    if (file.empty()) return;
    const auto status = std::filesystem::symlink_status(file);
    const bool is_replaced = !exists(status) || is_regular_file(status);
    const std::string unfinished = is_replaced ? file + "." + std::to_string(getpid()) : file;
    errno = 0;
    std::ofstream stream(unfinished);
    stream << port << std::endl;
    stream.close();
    std::error_code error(errno, std::generic_category());
    if (stream && is_replaced) std::filesystem::rename(unfinished, file, error);
    if (!error) return;
    std::error_code ignored;
    if (is_replaced) std::filesystem::remove(unfinished, ignored);
    throw std::system_error(error, "cannot write the port file " + file);
}

// A standard stream that was closed would be the next descriptor's that is opened: a log line would
// be written to a socket.
void OpenStandardStreams() {
    int fd = 0;
    while (fd >= 0 && fd <= STDERR_FILENO) fd = ::open("/dev/null", O_RDWR);
    if (fd >= 0) ::close(fd);
}

// Makes writing to a pipe that nobody reads fail instead of wait: lines of the log are lost then,
// not the server. It gets a description of its own if it may, for others can share the one it was
// given. An appender with a queue and a thread would keep the server going too, but not let it end.
void NeverWaitFor(int fd) {
    struct stat status {};
    if (::fstat(fd, &status) != 0 || !(S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)))
        return;
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    const int own = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (own < 0) {
        ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
        return;
    }
    ::dup2(own, fd);
    ::close(own);
}

// What a crowd of clients took is given back to the system when they are gone. Left alone, the
// allocator raises this threshold with the largest block that was freed, to 32 MiB, and keeps what
// is below it.
void GiveMemoryBack() {
    constexpr int kLeastMappedBytes = 128 << 10;
    ::mallopt(M_MMAP_THRESHOLD, kLeastMappedBytes);
}

// Leaves descriptors for resources, and for decoders that are started anew: else a crowd of
// connections makes others' requests fail.
std::size_t LimitConnections(const orvx::Options& options) {
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0) return options.max_connections;
    files.rlim_cur = files.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &files);
    const std::size_t kept = 16 + 2 * options.service.decoders;
    if (files.rlim_cur <= kept) {
        throw std::runtime_error("this process may open " + std::to_string(files.rlim_cur) +
                                 " files, but needs more than " + std::to_string(kept) +
                                 ": raise the limit (ulimit -n)");
    }
    const std::size_t most = files.rlim_cur - kept;
    if (most < options.max_connections) {
        ORVX_LOG_WARNING("no more than %zu connections at once: this process may open %zu files",
                         most, static_cast<std::size_t>(files.rlim_cur));
    }
    return std::min(most, options.max_connections);
}

// Asio's pool of threads waits for ever when it gets some of its threads, but not all.
void CheckThreads(const orvx::ServiceSettings& service) {
    constexpr std::size_t kOfDecoder = 3;  // two are in its own process
    const std::size_t needed = service.request_threads + kOfDecoder * service.decoders + 3;
    std::promise<void> end;
    const std::shared_future<void> ended = end.get_future().share();
    std::vector<std::jthread> threads;
    try {
        while (threads.size() < needed) threads.emplace_back([ended] { ended.wait(); });
        end.set_value();
    } catch (const std::system_error&) {
        end.set_value();
        throw std::runtime_error("this process may not have the " + std::to_string(needed) +
                                 " threads that it needs: raise the limit (ulimit -u)");
    }
}

}  // namespace

int main(int argc, char** argv) {
    OpenStandardStreams();
    GiveMemoryBack();
    if (orvx::IsEngineProcess(argc, argv)) return orvx::ServeEngine();
    orvx::ParsedOptions parsed = orvx::ParseOptions(argc, argv);
    if (!parsed.options) return parsed.exit_status;
    // Where the reader of the log goes away, or a limit of files is reached, lines are lost, not
    // the server.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);  // ignored, it would hide how a decoder has ended
    NeverWaitFor(STDERR_FILENO);
    StartLogging(*parsed.options);
    try {
        parsed.options->max_connections = LimitConnections(*parsed.options);
        CheckThreads(parsed.options->service);
        orvx::Server server(*parsed.options);
        WritePortFile(parsed.options->port_file, server.Endpoint().port());
        std::cout << "orvx-server ready on " << orvx::EndpointText(server.Endpoint()) << std::endl;
        NeverWaitFor(STDOUT_FILENO);  // where the log goes without a configuration
        server.Run();
        server.Stop();
    } catch (const std::exception& error) {
        std::cerr << "orvx-server: " << error.what() << std::endl;
        return kStartFailed;
    }
    return 0;
}
