#include "ProcessSize.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

ProcessSize ProcessSize::Now() {
    ProcessSize size = Of(::getpid());
    --size.descriptors;  // the one that counts them
    return size;
}

ProcessSize ProcessSize::Of(pid_t pid) {
    const std::string process = "/proc/" + std::to_string(pid);
    ProcessSize size;
    std::ifstream status(process + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) size.resident_kib = std::stod(line.substr(6));
        if (line.starts_with("Threads:")) size.threads = std::stoi(line.substr(8));
    }
    std::error_code error;
    const std::filesystem::directory_iterator descriptors(process + "/fd", error);
    size.descriptors = static_cast<int>(std::distance(begin(descriptors), end(descriptors)));
    return size;
}

double Slope(const std::vector<double>& values) {
    const auto count = static_cast<double>(values.size());
    if (count < 2) return 0;
    const double mean_x = (count - 1) / 2;
    double mean_y = 0;
    for (const double value : values) mean_y += value / count;
    double above = 0;
    double below = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double x = static_cast<double>(i) - mean_x;
        above += x * (values[i] - mean_y);
        below += x * x;
    }
    return above / below;
}
