// The program's options, read and checked as far as that is possible without the engine.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Parameters.h"

namespace recognize {

enum class OutputFormat { kText, kJson, kSrt };

struct Options {
    std::string server = "127.0.0.1:8800";  // HOST:PORT, not yet looked up
    std::string capability = "asr.cloud.freetalk";
    std::string config_file;                   // empty: the engine's default
    std::vector<ParameterSetting> parameters;  // in the order to set them
    int audio_format = 0;                      // the value of LEXO_PARAM_AUDIOFORMAT among them
    OutputFormat format = OutputFormat::kText;
    int jobs = 1;
    bool pace = false;
    std::optional<int> raw_rate;  // hertz
    int chunk_ms = 100;
    bool list = false;
    bool verbose = false;
    std::vector<std::string> files;
};

// Reads the command line. Empty when --help or --version was answered, on standard output.
// Throws UsageError.
std::optional<Options> ParseCommandLine(int argc, const char* const* argv);

}  // namespace recognize
