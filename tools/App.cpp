#include "App.h"

#include <malloc.h>
#include <pthread.h>
#include <sys/resource.h>

#include <csignal>
#include <cstddef>
#include <exception>
#include <iostream>
#include <new>

#include "Batch.h"
#include "CapabilityList.h"
#include "CommandLine.h"
#include "Console.h"
#include "Engine.h"
#include "EngineLog.h"
#include "Errors.h"
#include "Interruption.h"
#include "LibraryHome.h"
#include "PlainText.h"
#include "Resource.h"
#include "ServerAddress.h"

namespace recognize {

namespace {

// Leaves room for audio in a request.
constexpr std::size_t kMaxResourceBytes = kMaxRequestBytes - (std::size_t{4} << 20);

int List(const Engine& engine, Console& console) {
    console.WriteResult(DescribeCapabilities(engine.Capabilities()));
    return InterruptionRequested() ? kSomeFailed : kAllRecognized;
}

// Before the engine starts, so that a wrong file costs no connection, and before signals are taken
// over, so that a pipe without a writer can be left.
ResourceData ReadChosenResource(const Options& options, Console& console) {
    if (options.list || !options.resource.IsFile()) {
        return {};
    }
    ResourceData data = ReadResource(options.resource, kMaxResourceBytes);
    if (options.verbose && !options.resource.format) {
        console.Message(options.resource.Typed() + ": taken as " + ResourceFormatName(data.format));
    }
    return data;
}

bool IsLimited(__rlimit_resource resource) {
    rlimit limit = {};
    return ::getrlimit(resource, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

// Under a limit of addresses many jobs shall not need gigabytes of them: the threads share one area
// of memory, where each would reserve 64 MiB for itself, and have less than the usual 8 MiB for a
// stack.
void SpareAddresses() {
    constexpr std::size_t kStackBytes = std::size_t{2} << 20;
    if (!IsLimited(RLIMIT_AS) && !IsLimited(RLIMIT_DATA)) {
        return;
    }
    ::mallopt(M_ARENA_MAX, 1);
    pthread_attr_t attributes;
    if (::pthread_attr_init(&attributes) == 0) {
        ::pthread_attr_setstacksize(&attributes, kStackBytes);
        ::pthread_setattr_default_np(&attributes);
        ::pthread_attr_destroy(&attributes);
    }
}

int Run(const Options& options, Console& console) {
    const ResourceData data = ReadChosenResource(options, console);
    InstallInterruption();
    const EngineLog log(DefaultLibraryHome());  // its folder outlives no signal now
    EngineSettings settings;
    settings.server_address = ResolveServerAddress(options.server);
    settings.config_file = options.config_file;
    settings.needs_server = !options.list;
    const Engine engine(settings, console);
    if (options.list) {
        return List(engine, console);
    }
    const Resource resource(options.capability, options.resource, data);
    const std::size_t failed = Batch(options, resource, log, console).Run();
    return failed > 0 || InterruptionRequested() ? kSomeFailed : kAllRecognized;
}

}  // namespace

int RunApp(int argc, const char* const* argv) {
    OccupyStandardStreams();
    SpareAddresses();
    std::signal(SIGXFSZ, SIG_IGN);  // a full file is an error of the write, like a full disk
    try {
        const std::optional<Options> options = ParseCommandLine(argc, argv);
        if (!options) {
            return kAllRecognized;
        }
        Console console(options->verbose);
        return Run(*options, console);
    } catch (const UsageError& error) {
        std::cerr << "orvx-recognize: " << PlainText(error.what())
                  << "\nTry \"orvx-recognize --help\" for more.\n";
        return kWrongUsage;
    } catch (const std::bad_alloc&) {
        std::cerr << "orvx-recognize: this " << kNoMemory << "\n";
        return kSomeFailed;
    } catch (const std::exception& error) {
        std::cerr << "orvx-recognize: " << PlainText(error.what()) << "\n";
        return kSomeFailed;
    }
}

}  // namespace recognize
