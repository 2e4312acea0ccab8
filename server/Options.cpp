#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <asio/ip/address.hpp>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <thread>

namespace orvx {
namespace {

constexpr int kCannotWrite = 1;
constexpr int kUsageError = 2;

// What CLI11 fills; times are seconds, and fractions of them are fine.
struct RawOptions {
    std::string listen = "127.0.0.1:8800";
    std::string port_file;
    std::string log_config;
    bool is_verbose = false;
    std::size_t workers = std::max(1U, std::thread::hardware_concurrency());
    std::string model_dir = ORVX_MODEL_DIR;
    std::string acoustic_model;
    std::string language_model;
    std::string dictionary;
    std::size_t nbest = 5;
    std::size_t max_connections = 256;
    std::size_t max_frame_bytes = kMaxFrameBodyBytes;
    std::size_t max_received_bytes = std::size_t{512} << 20;
    double idle_timeout = 600;
    double read_timeout = 30;
    double write_timeout = 30;
    double drain_timeout = 10;
    std::size_t max_utterances = 256;
    double utterance_idle_timeout = 30;
    std::string resource_dir;
    int max_request_seconds = 2400;
    int max_utterance_seconds = 4 * 3600;
};

std::optional<asio::ip::tcp::endpoint> ParseEndpoint(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) return std::nullopt;
    std::string host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    }
    unsigned short port = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data() + colon + 1, end, port);
    asio::error_code error;
    const asio::ip::address address = asio::ip::make_address(host, error);
    if (error || failure != std::errc() || rest != end) return std::nullopt;
    return asio::ip::tcp::endpoint(address, port);
}

CLI::Validator IsEndpoint() {
    return CLI::Validator(
        [](const std::string& text) {
            return ParseEndpoint(text) ? std::string()
                                       : "must be ADDRESS:PORT, such as 127.0.0.1:8800 or [::1]:0";
        },
        "");
}

// CLI11's own range lets "nan" pass.
CLI::Validator IsBetween(double low, double high) {
    return CLI::Validator(
        [low, high](const std::string& text) {
            double value = 0;
            const char* const end = text.data() + text.size();
            const auto [rest, error] = std::from_chars(text.data(), end, value);
            if (error == std::errc() && rest == end && value >= low && value <= high)
                return std::string();
            std::ostringstream message;
            message.precision(12);
            message << "must be a number from " << low << " to " << high;
            return message.str();
        },
        "");
}

CLI::Validator IsReadableFolder() {
    return CLI::Validator(
        [](const std::string& text) {
            std::error_code error;
            const std::filesystem::directory_iterator entries(text, error);
            return error ? text + " is no readable folder: " + error.message() : std::string();
        },
        "");
}

// Adds options of one group of the help text.
class Group {
  public:
    Group(CLI::App* app, const char* name) : app_(app), name_(name) {}

    template <typename Value>
    CLI::Option* Add(const char* option, Value* value, const char* type, const char* help) {
        return app_->add_option(option, *value, help)->type_name(type)->group(name_);
    }
    template <typename Value>
    void AddNumber(const char* option, Value* value, double low, double high, const char* type,
                   const char* help) {
        Add(option, value, type, help)->check(IsBetween(low, high));
    }
    void AddFlag(const char* option, bool* value, const char* help) {
        app_->add_flag(option, *value, help)->group(name_);
    }

  private:
    CLI::App* const app_;
    const std::string name_;
};

constexpr double kLongestTimeout = 1e6;
constexpr double kShortestTimeout = 0.001;
constexpr double kLeastFrameBytes = 65536;  // 2 s of 16 kHz audio: less is a mistake

void AddServing(CLI::App* app, RawOptions* raw) {
    Group group(app, "Serving");
    group.Add("--listen", &raw->listen, "ADDRESS:PORT", "Where to listen; port 0 picks a free one")
        ->check(IsEndpoint());
    group.Add("--port-file", &raw->port_file, "FILE", "Gets the port when the server is ready");
    group.AddNumber("--drain-timeout", &raw->drain_timeout, 0, kLongestTimeout, "SECONDS",
                    "For running requests to finish after SIGTERM or SIGINT");
    group
        .Add("--log-config", &raw->log_config, "FILE",
             "log4cxx XML; without it: orvx-server_log.xml as installed")
        ->check(CLI::ExistingFile);
    group.AddFlag("--verbose", &raw->is_verbose, "Show the engine's own messages");
}

void AddRecognition(CLI::App* app, RawOptions* raw) {
    Group group(app, "Recognition");
    group.AddNumber("--workers", &raw->workers, 1, 256, "N",
                    "Decoders, some 100 MB of memory each; without it: one for each processor");
    group.Add("--model-dir", &raw->model_dir, "FOLDER",
              "With en-us (acoustic model), en-us.lm.bin and cmudict-en-us.dict");
    group.Add("--acoustic-model", &raw->acoustic_model, "FOLDER", "In place of the former's");
    group.Add("--language-model", &raw->language_model, "FILE", "In place of the former's");
    group.Add("--dictionary", &raw->dictionary, "FILE", "In place of the former's");
    group
        .Add("--resource-dir", &raw->resource_dir, "FOLDER",
             "With the built-in resources that requests may name; without it there are none")
        ->check(IsReadableFolder());
    group.AddNumber("--nbest", &raw->nbest, 1, 100, "N",
                    "Most sentences of a segment where nbest_result is yes");
}

void AddLimits(CLI::App* app, RawOptions* raw) {
    Group group(app, "Limits");
    const auto timeout = [&group](const char* option, double* value, const char* help) {
        group.AddNumber(option, value, kShortestTimeout, kLongestTimeout, "SECONDS", help);
    };
    group.AddNumber("--max-connections", &raw->max_connections, 1, 100000, "N", "Open at once");
    group.AddNumber("--max-frame-bytes", &raw->max_frame_bytes, kLeastFrameBytes, 1 << 30, "BYTES",
                    "Largest request");
    group.AddNumber("--max-received-bytes", &raw->max_received_bytes, kLeastFrameBytes, 1e12,
                    "BYTES",
                    "Of all requests above 64 KiB that are being received or served; in memory\n"
                    "up to twice as many");
    timeout("--idle-timeout", &raw->idle_timeout, "From one request to the next");
    timeout("--read-timeout", &raw->read_timeout, "For a request to arrive, from its first byte");
    timeout("--write-timeout", &raw->write_timeout, "For an answer to be taken");
    group.AddNumber("--max-utterances", &raw->max_utterances, 1, 1000000, "N",
                    "Real-time utterances open at once; each takes 0.5 MB, what its parameters "
                    "take, and up to 2 MB for a minute of speech");
    timeout("--utterance-idle-timeout", &raw->utterance_idle_timeout,
            "Without a chunk, until a real-time utterance is given up");
    group.AddNumber("--max-request-seconds", &raw->max_request_seconds, 1, 86400, "SECONDS",
                    "Of audio in one recording or chunk");
    group.AddNumber("--max-utterance-seconds", &raw->max_utterance_seconds, 1, 86400, "SECONDS",
                    "Of audio in one real-time utterance");
}

std::chrono::milliseconds Seconds(double seconds) {
    return std::chrono::milliseconds(static_cast<long long>(seconds * 1000));
}

PocketSphinxModel MakeModel(const RawOptions& raw) {
    const auto in_folder = [&raw](const std::string& given, const char* name) {
        return given.empty() ? raw.model_dir + "/" + name : given;
    };
    return {in_folder(raw.acoustic_model, "en-us"), in_folder(raw.language_model, "en-us.lm.bin"),
            in_folder(raw.dictionary, "cmudict-en-us.dict")};
}

Options Convert(const RawOptions& raw) {
    Options options;
    options.listen = *ParseEndpoint(raw.listen);
    options.port_file = raw.port_file;
    options.log_config = raw.log_config;
    options.is_verbose = raw.is_verbose;
    options.model = MakeModel(raw);
    options.max_connections = raw.max_connections;
    options.connection = {raw.max_frame_bytes, raw.max_received_bytes, Seconds(raw.idle_timeout),
                          Seconds(raw.read_timeout), Seconds(raw.write_timeout)};
    options.service = {raw.workers,
                       std::max(std::size_t{2}, raw.workers),
                       raw.max_utterances,
                       Seconds(raw.utterance_idle_timeout),
                       {raw.max_request_seconds, raw.max_utterance_seconds, raw.nbest},
                       options.model.dictionary,
                       raw.resource_dir};
    options.drain_timeout = Seconds(raw.drain_timeout);
    return options;
}

}  // namespace

ParsedOptions ParseOptions(int argc, const char* const* argv) {
    RawOptions raw;
    CLI::App app(
        "The orvx reference recognition server: recognises English speech with PocketSphinx for "
        "hosts of the orvx engine.",
        "orvx-server");
    app.option_defaults()->always_capture_default();
    app.set_version_flag("--version", std::string("orvx-server ") + ORVX_VERSION);
    app.failure_message([](const CLI::App* failed, const CLI::Error& error) {
        return "orvx-server: " + CLI::FailureMessage::simple(failed, error);
    });
    AddServing(&app, &raw);
    AddRecognition(&app, &raw);
    AddLimits(&app, &raw);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& result) {
        // CLI11 has a status of its own for every kind of error; one is enough here.
        const int status = app.exit(result) == 0 ? 0 : kUsageError;
        if (std::cout.flush()) return {std::nullopt, status};
        std::cerr << "orvx-server: cannot write the answer: " << std::strerror(errno) << std::endl;
        return {std::nullopt, kCannotWrite};
    }
    return {Convert(raw), 0};
}

std::string FindLogConfig(const std::string& named) {
    if (!named.empty()) return named;
    std::error_code error;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    for (const char* const place : {"../conf", "../share/orvx/conf"}) {
        const auto file = folder / place / "orvx-server_log.xml";
        if (std::filesystem::exists(file, error)) return file.lexically_normal().string();
    }
    return {};
}

}  // namespace orvx
