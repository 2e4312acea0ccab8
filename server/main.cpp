// orvx-server: starts the server and says when it is ready.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

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

// Whoever waits for the file never sees half of it.
void WritePortFile(const std::string& file, unsigned short port) {
    if (file.empty()) return;
    const std::string unfinished = file + "." + std::to_string(getpid());
    std::ofstream stream(unfinished);
    stream << port << std::endl;
    if (!stream) throw std::runtime_error("cannot write " + unfinished);
    stream.close();
    std::filesystem::rename(unfinished, file);
}

std::string Text(const asio::ip::tcp::endpoint& endpoint) {
    const std::string host = endpoint.address().to_string();
    const bool is_v6 = endpoint.address().is_v6();
    return (is_v6 ? "[" + host + "]" : host) + ":" + std::to_string(endpoint.port());
}

}  // namespace

int main(int argc, char** argv) {
    const orvx::ParsedOptions parsed = orvx::ParseOptions(argc, argv);
    if (!parsed.options) return parsed.exit_status;
    // Where the reader of the log goes away, lines are lost, not the server.
    std::signal(SIGPIPE, SIG_IGN);
    StartLogging(*parsed.options);
    try {
        orvx::Server server(*parsed.options);
        WritePortFile(parsed.options->port_file, server.Endpoint().port());
        std::cout << "orvx-server ready on " << Text(server.Endpoint()) << std::endl;
        server.Run();
    } catch (const std::exception& error) {
        std::cerr << "orvx-server: " << error.what() << std::endl;
        return kStartFailed;
    }
    return 0;
}
