#include "App.h"

#include <exception>
#include <iostream>

#include "Batch.h"
#include "Capabilities.h"
#include "CommandLine.h"
#include "Console.h"
#include "Engine.h"
#include "Errors.h"
#include "Interruption.h"
#include "LibraryHome.h"
#include "ServerAddress.h"

namespace recognize {

namespace {

int List(const Engine& engine, Console& console) {
    for (std::string name : engine.Capabilities()) {
        const std::string short_name(ShortCapabilityName(name));
        name.resize(24, ' ');
        console.WriteResult(name + short_name + "\n");
    }
    return kAllRecognized;
}

int Run(const Options& options, Console& console) {
    EnsureLibraryHome();
    InstallInterruption();
    EngineSettings settings;
    settings.server_address = ResolveServerAddress(options.server);
    settings.config_file = options.config_file;
    settings.needs_server = !options.list;
    const Engine engine(settings, console);
    if (options.list) {
        return List(engine, console);
    }
    const std::size_t failed = Batch(options, console).Run();
    return failed > 0 || InterruptionRequested() ? kSomeFailed : kAllRecognized;
}

}  // namespace

int RunApp(int argc, const char* const* argv) {
    try {
        const std::optional<Options> options = ParseCommandLine(argc, argv);
        if (!options) {
            return kAllRecognized;
        }
        Console console(options->verbose);
        return Run(*options, console);
    } catch (const UsageError& error) {
        std::cerr << "orvx-recognize: " << error.what()
                  << "\nTry \"orvx-recognize --help\" for more.\n";
        return kWrongUsage;
    } catch (const std::exception& error) {
        std::cerr << "orvx-recognize: " << error.what() << "\n";
        return kSomeFailed;
    }
}

}  // namespace recognize
