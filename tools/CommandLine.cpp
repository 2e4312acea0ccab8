#include "CommandLine.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <map>
#include <string_view>

#include "AudioEncoder.h"
#include "AudioSource.h"
#include "Capabilities.h"
#include "Errors.h"
#include "InputFile.h"

namespace recognize {

namespace {

constexpr char kDescription[] =
    "Recognises the speech in recordings, by way of a recognition server.\n"
    "FILE is a WAV, FLAC, Ogg or other sound file of any rate; several channels are mixed down to\n"
    "one, but for an analysis with channel_type left_agent or right_agent. Results go to standard\n"
    "output, messages to standard error.\n";

const std::map<std::string, OutputFormat> kOutputFormats = {{"text", OutputFormat::kText},
                                                            {"json", OutputFormat::kJson},
                                                            {"srt", OutputFormat::kSrt},
                                                            {"vtt", OutputFormat::kVtt}};

// What CLI11 reads, before it is checked and converted.
struct RawOptions {
    std::optional<std::string> capability;
    ResourceOptions resource;
    std::string stream;
    std::string format = "text";
    int raw_rate = 0;
    std::vector<std::string> parameters;
    Options options;
};

std::string Footer() {
    return "Parameters, and what they can be set to:\n" + ParameterHelp() +
           "\nExit status: 0 all files recognised, 1 some not, 2 wrong usage.";
}

void DeclareWork(CLI::App& app, RawOptions* raw) {
    Options& options = raw->options;
    app.add_option("--server", options.server, "The recognition server")
        ->type_name("HOST:PORT")
        ->capture_default_str();
    app.add_option("--capability", raw->capability,
                   "What to do: freetalk, grammar, keywordspot or analysis; follows from the\n"
                   "resource when there is one, else freetalk")
        ->type_name("NAME");
    app.add_option("--stream", raw->stream,
                   "Real-time: no, yes (until the first result), continue, yes-rt or\n"
                   "continue-rt; short for --param stream_recog=MODE")
        ->type_name("MODE");
    app.add_option("--param", raw->parameters,
                   "Set a parameter of the session, see below; repeatable")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    app.add_option("--config", options.config_file, "The engine's configuration file")
        ->check(CLI::Validator(CLI::ExistingFile).description(""))
        ->type_name("FILE");
    app.add_option("--jobs,-j", options.jobs, "Files recognised at the same time, 1 to 64")
        ->check(CLI::Range(1, 64).description(""))
        ->type_name("N")
        ->capture_default_str();
}

void DeclareResources(CLI::App& app, RawOptions* raw) {
    ResourceOptions& resource = raw->resource;
    app.add_option("--grammar", resource.grammar, "Recognise within a grammar")->type_name("FILE");
    app.add_option("--grammar-format", resource.grammar_format,
                   "Its format: " + GrammarFormatNames() +
                       ";\nwithout this told from the file's name or first bytes")
        ->type_name("NAME");
    app.add_option("--keywords", resource.keywords,
                   "Spot the keywords of a list, also within an analysis")
        ->type_name("FILE");
    app.add_option("--words", resource.words, "Words of the user's own for free talk")
        ->type_name("FILE");
    app.add_option("--resource", resource.name,
                   "A grammar or keyword list that the server holds; needs --capability")
        ->type_name("NAME");
}

void DeclareAudio(CLI::App& app, RawOptions* raw) {
    app.add_option("--rate", raw->raw_rate,
                   "Rate of raw samples (16-bit little-endian): of files named .raw\n"
                   "or .pcm, and of standard input")
        ->check(CLI::Range(1000, 768000).description(""))
        ->type_name("HZ");
    app.add_option("--chunk-ms", raw->options.chunk_ms,
                   "Real-time: audio sent at a time, 10 to 60000 milliseconds")
        ->check(CLI::Range(10, 60000).description(""))
        ->type_name("MS")
        ->capture_default_str();
    app.add_flag("--pace", raw->options.pace, "Real-time: send at the speed of speech");
}

void DeclareOutput(CLI::App& app, RawOptions* raw) {
    app.add_option("--format", raw->format,
                   "Form of the results: text, json (an object for each file, on one\n"
                   "line), srt or vtt (subtitles of one file)")
        ->check(CLI::IsMember({"text", "json", "srt", "vtt"}).description(""))
        ->type_name("NAME")
        ->capture_default_str();
    app.add_flag("--verbose,-v", raw->options.verbose,
                 "Also tell times, scores, durations and what the engine prints");
    app.add_flag("--list", raw->options.list,
                 "List the engine's capabilities and their parameters, and end");
    app.set_version_flag("--version", "orvx-recognize " ORVX_VERSION, "Print the version and end");
    app.set_help_flag("--help,-h", "Print this help and end");
    app.get_formatter()->column_width(26);
    app.footer(Footer());
}

// In the order that CLI11 wants them. It would take the file "[a,b]" for two files, a and b.
std::vector<std::string> ReversedArguments(int argc, const char* const* argv) {
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    for (std::string& argument : arguments) {
        if (argument.starts_with('[') && argument.ends_with(']')) {
            argument.insert(0, "./");
        }
    }
    std::ranges::reverse(arguments);
    return arguments;
}

// Whether help or version was printed instead.
bool Answered(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(ReversedArguments(argc, argv));
        return false;
    } catch (const CLI::Success& answer) {
        app.exit(answer, std::cout, std::cerr);
        if (!std::cout.flush()) {
            throw std::runtime_error(ErrnoText("cannot write the answer"));
        }
        return true;
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
}

using Settings = std::vector<ParameterSetting>;

bool Sets(const Settings& settings, Lexo_ParamKey key) {
    return std::ranges::find(settings, key, &ParameterSetting::key) != settings.end();
}

int LastNumber(const Settings& settings, Lexo_ParamKey key) {
    const auto found = std::find_if(settings.rbegin(), settings.rend(),
                                    [key](const ParameterSetting& s) { return s.key == key; });
    return found == settings.rend() ? 0 : found->number;
}

void ReadParameters(const RawOptions& raw, Options* options) {
    for (const std::string& assignment : raw.parameters) {
        options->parameters.push_back(ParseParameter(assignment));
    }
    if (!raw.stream.empty()) {
        if (Sets(options->parameters, LEXO_PARAM_STREAM)) {
            throw UsageError("--stream and --param stream_recog=... say the same: leave one out");
        }
        options->parameters.push_back(ParseParameter("stream_recog=" + raw.stream));
    }
    options->parameters = AudioParameters(std::move(options->parameters));
    options->audio_format = LastNumber(options->parameters, LEXO_PARAM_AUDIOFORMAT);
}

void CheckFiles(const Options& options) {
    if (options.files.empty()) {
        throw UsageError("no FILE to recognise is named (\"-\" is standard input)");
    }
    if (std::count(options.files.begin(), options.files.end(), kStandardInput) > 1) {
        throw UsageError("standard input (\"-\") can be read only once");
    }
    for (const std::string& file : options.files) {
        if (file.empty()) {
            throw UsageError("a FILE has an empty name");
        }
        if (IsRawName(file) && !options.raw_rate) {
            throw UsageError(file +
                             " holds raw samples by its name: tell their rate with "
                             "--rate HZ");
        }
    }
    const bool is_subtitles =
        options.format == OutputFormat::kSrt || options.format == OutputFormat::kVtt;
    if (is_subtitles && options.files.size() > 1) {
        throw UsageError("--format srt and vtt make the subtitles of one file; name one at a time");
    }
}

}  // namespace

std::vector<ParameterSetting> AudioParameters(std::vector<ParameterSetting> settings) {
    if (!Sets(settings, LEXO_PARAM_AUDIOFORMAT)) {
        settings.push_back(ParseParameter("audio_format=pcm16k16bit"));
    }
    if (!Sets(settings, LEXO_PARAM_PROPERTY_MODEL_TYPE)) {
        const int rate = FindAudioFormat(LastNumber(settings, LEXO_PARAM_AUDIOFORMAT)).rate;
        settings.push_back(
            ParseParameter(rate == 16000 ? "property_model_type=16k" : "property_model_type=8k"));
    }
    return settings;
}

std::optional<Options> ParseCommandLine(int argc, const char* const* argv) {
    CLI::App app(kDescription, "orvx-recognize");
    RawOptions raw;
    DeclareWork(app, &raw);
    DeclareResources(app, &raw);
    DeclareAudio(app, &raw);
    DeclareOutput(app, &raw);
    app.add_option("FILE", raw.options.files, "Recordings; \"-\" is standard input")->type_name("");
    if (Answered(app, argc, argv)) {
        return std::nullopt;
    }
    Options options = std::move(raw.options);
    options.resource = ChooseResource(raw.resource);
    if (!options.list) {
        options.capability = ChooseCapability(raw.capability, options.resource);
    }
    options.format = kOutputFormats.at(raw.format);
    if (raw.raw_rate != 0) {
        options.raw_rate = raw.raw_rate;
    }
    ReadParameters(raw, &options);
    const bool is_realtime = LastNumber(options.parameters, LEXO_PARAM_STREAM) != 0 ||
                             LastNumber(options.parameters, LEXO_PARAM_MODE) == 1;
    if (options.pace && !is_realtime) {
        throw UsageError(
            "--pace is for real-time work: add --stream (or, for an analysis, "
            "--param analysis_mode=online)");
    }
    if (!options.list) {
        CheckFiles(options);
    }
    return options;
}

}  // namespace recognize
