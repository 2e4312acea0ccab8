// What a run found.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace exchange {

struct Figures {
    double calls = 0;
    double p50_us = 0;
    double per_second = 0;     // requests, all threads together
    double client_cpu_us = 0;  // for each request, as the next ones
    double server_cpu_us = 0;
    double faults = 0;    // page faults of the client
    double switches = 0;  // context switches of the client
    double peak_mb = 0;   // the client's largest resident memory

    double both_cpu_us = 0;  // client and server
};

inline void PrintFigures(const Figures& f) {
    std::printf("figures %.0f %.2f %.0f %.2f %.2f %.4f %.3f %.1f\n", f.calls, f.p50_us,
                f.per_second, f.client_cpu_us, f.server_cpu_us, f.faults, f.switches, f.peak_mb);
}

// What a command prints; it must not fail.
std::string OutputOf(const std::string& command);
// The figures in what a run printed.
Figures FiguresIn(const std::string& output);

double MedianOf(std::vector<double> values);

}  // namespace exchange
