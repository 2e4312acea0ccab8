// The program's options, read and checked as far as that is possible without the engine.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Parameters.h"
#include "ResourceChoice.h"

namespace recognize {

enum class OutputFormat { kText, kJson, kSrt, kVtt };

struct Options {
    std::string server = "127.0.0.1:8800";  // HOST:PORT, not yet looked up
    std::string capability = "asr.cloud.freetalk";
    ResourceChoice resource;
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

// The settings with those of the audio format and of the acoustic model that suits it, for
// whatever of the two is missing: the engine's defaults are for 8 kHz.
std::vector<ParameterSetting> AudioParameters(std::vector<ParameterSetting> settings);

// Reads the command line. Empty when --help or --version was answered, on standard output.
// Throws UsageError.
std::optional<Options> ParseCommandLine(int argc, const char* const* argv);

}  // namespace recognize
