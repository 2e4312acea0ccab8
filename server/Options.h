// What the server is told on its command line.
#pragma once

#include <asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "Connection.h"
#include "PocketSphinxRecogniser.h"
#include "RecognitionService.h"

namespace orvx {

struct Options {
    asio::ip::tcp::endpoint listen;
    std::string port_file;   // empty: none is written
    std::string log_config;  // empty: the installed one
    bool is_verbose = false;
    PocketSphinxModel model;
    std::size_t max_connections = 0;
    ConnectionLimits connection{};
    ServiceSettings service{};
    std::chrono::milliseconds drain_timeout{};
};

// The options, or else the status to exit with: help, version or what is wrong has been printed.
struct ParsedOptions {
    std::optional<Options> options;
    int exit_status = 0;
};

ParsedOptions ParseOptions(int argc, const char* const* argv);

// The log configuration to use: the one that was named, or else the one that stands beside the
// program, in a build tree or installed. Empty if there is none.
std::string FindLogConfig(const std::string& named);

}  // namespace orvx
