#include "Figures.h"

#include <algorithm>

#include "Run.h"

namespace exchange {

std::string OutputOf(const std::string& command) {
    std::FILE* const pipe = ::popen(command.c_str(), "r");
    Require(pipe != nullptr, "no process");
    std::string output;
    for (char line[512]; std::fgets(line, sizeof line, pipe) != nullptr;) {
        output += line;
    }
    if (::pclose(pipe) != 0) {
        std::fprintf(stderr, "%s\n%s", command.c_str(), output.c_str());
        Fail("a run failed");
    }
    return output;
}

Figures FiguresIn(const std::string& output) {
    Figures f;
    const std::size_t line = output.find("figures ");
    Require(line != std::string::npos &&
                std::sscanf(output.c_str() + line, "figures %lf %lf %lf %lf %lf %lf %lf %lf",
                            &f.calls, &f.p50_us, &f.per_second, &f.client_cpu_us, &f.server_cpu_us,
                            &f.faults, &f.switches, &f.peak_mb) == 8,
            "a run without figures");
    f.both_cpu_us = f.client_cpu_us + f.server_cpu_us;
    return f;
}

double MedianOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

}  // namespace exchange
