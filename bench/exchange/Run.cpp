#include "Run.h"

#include <sched.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace exchange {

Run ReadRun(int argc, char** argv) {
    Run run;
    CLI::App app("One run of the exchange benchmark; it prints one line of figures.");
    app.add_option("--audio", run.audio_bytes, "bytes of audio in a request")
        ->check(CLI::Range(16, 64 << 20));
    app.add_option("--answer", run.answer_bytes, "bytes of an answer")
        ->check(CLI::Range(250, 16 << 20));
    app.add_option("--threads", run.threads)->check(CLI::Range(1, 256));
    app.add_option("--seconds", run.seconds)->check(CLI::Range(0.001, 20.0));
    app.add_option("--calls", run.calls, "of each thread, instead of a time");
    app.add_option("--sessions", run.sessions, "open besides");
    app.add_flag("--in-turn", run.is_in_turn, "requests take turns over these sessions");
    app.add_option("--idle", run.idle, "connections that lie idle")->check(CLI::Range(0, 4000));
    app.add_option("--client-cpu", run.client_cpu);
    app.add_option("--server-cpu", run.server_cpu);
    app.add_flag("--server", run.is_server, "be the server");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::exit(app.exit(error));
    }
    return run;
}

std::vector<std::string> ServerOptions(const Run& run) {
    return {"--server",
            "--audio",
            std::to_string(run.audio_bytes),
            "--answer",
            std::to_string(run.answer_bytes),
            "--idle",
            std::to_string(run.idle)};
}

std::string Beside(const std::string& program) {
    return std::filesystem::read_symlink("/proc/self/exe").replace_filename(program);
}

void Fail(const char* what) {
    std::fprintf(stderr, "exchange: %s (last error: %d)\n", what, errno);
    std::_Exit(1);
}

void PinTo(int cpu) {
    if (cpu < 0) {
        return;
    }
    cpu_set_t usable;
    Require(::sched_getaffinity(0, sizeof usable, &usable) == 0, "no processors");
    for (int number = 0; number < CPU_SETSIZE; ++number) {
        if (CPU_ISSET(number, &usable) && cpu-- == 0) {
            cpu_set_t only;
            CPU_ZERO(&only);
            CPU_SET(number, &only);
            Require(::sched_setaffinity(0, sizeof only, &only) == 0, "this processor is refused");
            return;
        }
    }
    Fail("there is no such processor");
}

}  // namespace exchange
