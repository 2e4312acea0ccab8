// How the cost of an exchange grows: with the sessions that are open, the threads, the connections
// that lie idle, and the size of the answer. Each is a curve of medians with its exponent, the
// slope of the cost over the number when both are drawn by their logarithms: 0 is flat, 1 is
// linear.
//   orvx_growth [--quick] [--rounds N] [--only threads,idle] [--out FOLDER]
//
// The bare network goes through the same, as the yardstick; it knows no sessions, and shows there
// what the machine's unrest is. All runs of a round are neighbours in time, and the next round
// takes them in reverse. Then the memory that a session and an idle connection hold is told.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "Figures.h"
#include "Run.h"

namespace exchange {
namespace {

struct Axis {
    const char* name;
    const char* what;
    std::string option;  // with the number behind it
    std::vector<double> numbers;
    double fitted_from = 0;
};

// With one thread client and server share a processor, so that the time is what the software costs.
constexpr const char* kOneProcessor = " --client-cpu 0 --server-cpu 0";
const std::vector<double> kTens = {1, 10, 100, 1000, 10000};
const Axis kAxes[] = {{"sessions", "sessions, one in use", "--sessions", kTens},
                      {"turns", "sessions, used in turn", "--in-turn --sessions", kTens},
                      {"threads", "threads", "--threads", {1, 2, 4, 8, 16, 32, 64}},
                      {"idle", "idle connections", "--idle", {1, 3, 10, 30, 100, 300, 1000}},
                      // What an answer above 256 KiB has taken is not kept, which makes a step.
                      {"answer",
                       "bytes of an answer",
                       "--answer",
                       {300, 1e3, 3e3, 1e4, 3e4, 1e5, 2.5e5, 2.7e5, 5e5, 1e6, 2e6, 3e6},
                       5e5}};

struct Plan {
    int rounds = 9;
    double seconds = 0.2;
    bool has_ends_only = false;
    std::string connections = "64";  // whose memory is measured
    std::vector<std::string> only;
    std::string folder;
};

// Of one request, in microseconds: the time, and the client's processor time.
enum Column { kTime, kCpu, kRawTime, kRawCpu, kColumns };
constexpr const char* kTitles[kColumns] = {"the library, time", "the library, processor",
                                           "bare network, time", "bare network, processor"};
constexpr int kWidth = 23;
using Costs = std::array<double, kColumns>;

struct Point {
    double number;
    std::vector<Costs> rounds;

    double Median(int column) const {
        std::vector<double> values;
        for (const Costs& costs : rounds) values.push_back(costs[column]);
        return MedianOf(values);
    }
    // The median of what it is of `first`'s within each round.
    double Of(const Point& first, int column) const {
        std::vector<double> ratios;
        for (std::size_t i = 0; i < rounds.size(); ++i) {
            ratios.push_back(rounds[i][column] / first.rounds[i][column]);
        }
        return MedianOf(ratios);
    }
};

using Curve = std::vector<Point>;

std::string CommandOf(const char* program, const Plan& plan, const std::string& options) {
    return "'" + Beside(program) + "' --seconds " + std::to_string(plan.seconds) + " " + options;
}

// With several threads, the time from one answer to the next.
void RunBoth(const Axis& axis, const Plan& plan, Point& point) {
    const bool is_threads = axis.option == "--threads";
    std::string options = axis.option + " " + std::to_string(std::lround(point.number));
    if (!is_threads) options += kOneProcessor;
    Costs costs{};
    for (const bool is_raw : {false, true}) {
        const char* const program = is_raw ? "orvx_exchange_raw" : "orvx_exchange_orvx";
        const Figures figures = FiguresIn(OutputOf(CommandOf(program, plan, options)));
        costs[is_raw ? kRawTime : kTime] = is_threads ? 1e6 / figures.per_second : figures.p50_us;
        costs[is_raw ? kRawCpu : kCpu] = figures.client_cpu_us;
    }
    point.rounds.push_back(costs);
}

Curve Follow(const Axis& axis, const Plan& plan) {
    Curve curve;
    for (const double number : axis.numbers) {
        if (!plan.has_ends_only || number == axis.numbers.front() ||
            number == axis.numbers.back()) {
            curve.push_back({number, {}});
        }
    }
    for (int round = 0; round < plan.rounds; ++round) {
        for (std::size_t i = 0; i < curve.size(); ++i) {
            RunBoth(axis, plan, curve[round % 2 == 0 ? i : curve.size() - 1 - i]);
        }
    }
    return curve;
}

// By least squares.
double Exponent(const Axis& axis, const Curve& curve, int column) {
    double count = 0, x_sum = 0, y_sum = 0, xx_sum = 0, xy_sum = 0;
    for (const Point& point : curve) {
        if (curve.size() > 2 && point.number < axis.fitted_from) continue;
        const double x = std::log(point.number), y = std::log(point.Median(column));
        ++count, x_sum += x, y_sum += y, xx_sum += x * x, xy_sum += x * y;
    }
    return (count * xy_sum - x_sum * y_sum) / (count * xx_sum - x_sum * x_sum);
}

void Print(const Axis& axis, const Curve& curve) {
    std::printf("\n%-23s", axis.what);
    for (const char* const title : kTitles) std::printf(" %*s", kWidth, title);
    const auto print = [&](auto value, int digits) {
        for (int column = 0; column < kColumns; ++column) {
            std::printf(" %*.*f", kWidth, digits, value(column));
        }
    };
    for (const Point& point : curve) {
        std::printf("\n%23.0f", point.number);
        print([&](int column) { return point.Median(column); }, 2);
    }
    std::printf("\n%23s", "last / first");
    print([&](int column) { return curve.back().Of(curve.front(), column); }, 3);
    std::printf("\n%23s", "exponent");
    print([&](int column) { return Exponent(axis, curve, column); }, 3);
    std::printf("\n");
}

// For gnuplot: a line of titles, then the number and the four medians.
void Write(const std::string& path, const Axis& axis, const Curve& curve) {
    std::FILE* const file = std::fopen(path.c_str(), "w");
    Require(file != nullptr, "a data file cannot be written");
    std::fprintf(file, "\"%s\"", axis.what);
    for (int column = 0; column < kColumns; ++column) {
        std::fprintf(file, " \"%s: exponent %.2f\"", kTitles[column],
                     Exponent(axis, curve, column));
    }
    for (const Point& point : curve) {
        std::fprintf(file, "\n%.0f", point.number);
        for (int column = 0; column < kColumns; ++column) {
            std::fprintf(file, " %.3f", point.Median(column));
        }
    }
    std::fprintf(file, "\n");
    Require(std::fclose(file) == 0, "a data file cannot be written");
}

// Prints the median of what one thing holds, resident and allocated.
void PrintHeld(const Plan& plan, const std::string& what, const std::string& options,
               const std::string& when) {
    std::vector<double> resident, allocated;
    for (int round = 0; round < plan.rounds; ++round) {
        const std::string output =
            OutputOf(CommandOf("orvx_exchange_orvx", plan, "--calls 10 " + options));
        const std::size_t line = output.find(what + "_bytes ");
        double bytes[2];
        Require(line != std::string::npos &&
                    std::sscanf(output.c_str() + line, "%*s %lf %lf", &bytes[0], &bytes[1]) == 2,
                "a run that does not tell what is held");
        resident.push_back(bytes[0]);
        allocated.push_back(bytes[1]);
    }
    std::printf("%12.0f %12.0f  %s, %s\n", MedianOf(resident), MedianOf(allocated), what.c_str(),
                when.c_str());
}

void PrintMemory(const Plan& plan) {
    std::printf("\nBytes held by each\n%12s %12s\n", "resident", "allocated");
    PrintHeld(plan, "session", "--sessions 10000", "one of 10,000");
    const std::pair<const char*, const char*> uses[] = {
        {"--audio 320", "320 bytes of audio"},
        {"--audio 1920000", "1.92 MB of audio"},
        {"--answer 220200", "an answer of 10,000 words"},
        {"--answer 5000000", "an answer of 5 MB"}};
    for (const auto& [options, what] : uses) {
        PrintHeld(plan, "connection", "--idle " + plan.connections + " " + options,
                  "one of " + plan.connections + " idle ones, after " + what);
    }
}

Plan ReadPlan(int argc, char** argv) {
    Plan plan;
    CLI::App app("Shows how the cost of an exchange grows.");
    const auto set_quick = [&](std::int64_t) {
        plan.rounds = 1;
        plan.seconds = 0.02;
        plan.has_ends_only = true;
        plan.connections = "8";
    };
    app.add_flag_function("--quick", set_quick, "one short round of the curves' ends")
        ->trigger_on_parse();
    app.add_option("--rounds", plan.rounds)->check(CLI::Range(1, 100));
    app.add_option("--seconds", plan.seconds, "length of a run")->check(CLI::Range(0.001, 20.0));
    app.add_option("--only", plan.only, "sessions, turns, threads, idle, answer, memory")
        ->delimiter(',');
    app.add_option("--out", plan.folder, "folder for the data files");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::exit(app.exit(error));
    }
    return plan;
}

}  // namespace
}  // namespace exchange

using namespace exchange;

int main(int argc, char** argv) {
    const Plan plan = ReadPlan(argc, argv);
    const auto is_wanted = [&](const char* name) {
        return plan.only.empty() || std::ranges::count(plan.only, name) > 0;
    };
    std::printf("Microseconds for a request of 3200 bytes; medians of %d rounds of %.2f s.\n",
                plan.rounds, plan.seconds);
    for (const Axis& axis : kAxes) {
        if (!is_wanted(axis.name)) continue;
        const Curve curve = Follow(axis, plan);
        Print(axis, curve);
        if (!plan.folder.empty()) Write(plan.folder + "/" + axis.name + ".dat", axis, curve);
        std::fflush(stdout);
    }
    if (is_wanted("memory")) PrintMemory(plan);
}
