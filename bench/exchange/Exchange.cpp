// Measures one whole exchange of the library through its exported functions, beside what the
// network alone costs, the protocol's floor, gRPC and Thrift.
//   orvx_exchange [--quick] [--cpu] [--sizes 320,3200] [--loads 1p,8] [--rounds N] [--only
//   raw,orvx]
//
// Every run is a process of its own. Within a round all rows of a cell run one after the other, and
// the next round takes them in reverse: a machine that gets slower or faster meanwhile does so for
// all. What is compared are the medians of the ratios within the rounds.
//
// With one thread, client and server share a processor ("1p"): then the time is what the software
// costs. On two processors ("1s") most of it is the waking of an idle one.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iterator>

#include "Rows.h"
#include "Run.h"

namespace exchange {
namespace {

constexpr double kQuickSeconds = 0.06;

struct Plan {
    std::vector<std::size_t> sizes = {320, 3200, 32000, 320000, 1920000};
    std::vector<std::string> loads = {"1p", "8", "64"};
    std::vector<std::string> only;
    std::size_t answer_bytes = 300;
    int rounds = 9;  // many short ones: a large exchange has good processes and bad ones
    double seconds = 0.15;
    bool has_cpu = false;
};

Plan ReadPlan(int argc, char** argv) {
    Plan plan;
    CLI::App app("Measures a whole exchange beside its yardsticks.");
    const auto set_quick = [&](std::int64_t) {
        plan.rounds = 1;
        plan.seconds = kQuickSeconds;
    };
    app.add_flag_function("--quick", set_quick, "one short round")->trigger_on_parse();
    app.add_option("--sizes", plan.sizes, "bytes of audio")->delimiter(',');
    app.add_option("--loads", plan.loads, "threads; 1p: server on the same processor, 1s: not")
        ->delimiter(',')
        ->check(CLI::IsMember({"1p", "1s", "1", "2", "4", "8", "16", "32", "64"}));
    app.add_option("--only", plan.only, "rows: raw, gather, orvx, grpc, thrift")->delimiter(',');
    app.add_option("--answer", plan.answer_bytes, "bytes of an answer");
    app.add_flag("--cpu", plan.has_cpu, "compare processor times too, as on a busy machine");
    app.add_option("--rounds", plan.rounds)->check(CLI::Range(1, 100));
    app.add_option("--seconds", plan.seconds, "length of a run")->check(CLI::Range(0.001, 20.0));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::exit(app.exit(error));
    }
    return plan;
}

// The rows that are wanted and built, in their order.
std::vector<Row> ChooseRows(const std::vector<std::string>& only) {
    std::vector<Row> rows;
    for (const Row& row : kRows) {
        if (!only.empty() && std::find(only.begin(), only.end(), row.name) == only.end()) {
            continue;
        }
        if (std::filesystem::exists(Beside(row.program))) {
            rows.push_back(row);
        } else {
            std::printf("%s is left out, as it is not built.\n", row.name);
        }
    }
    return rows;
}

std::string CommandOf(const Row& row, const Cell& cell, const Plan& plan) {
    std::string command = "'" + Beside(row.program) + "'";
    command += " --audio " + std::to_string(cell.audio_bytes);
    command += " --answer " + std::to_string(plan.answer_bytes);
    command += " --threads " + std::to_string(std::stoi(cell.load));
    command += " --seconds " + std::to_string(plan.seconds);
    if (cell.load.back() == 'p') {
        command += " --client-cpu 0 --server-cpu 0";
    } else if (cell.load.back() == 's') {
        command += " --client-cpu 0 --server-cpu 1";
    }
    return command;
}

}  // namespace
}  // namespace exchange

using namespace exchange;

int main(int argc, char** argv) {
    const Plan plan = ReadPlan(argc, argv);
    std::vector<Row> rows = ChooseRows(plan.only);
    std::vector<Cell> cells;
    for (const std::string& load : plan.loads) {
        for (const std::size_t size : plan.sizes) {
            cells.push_back({load, size});
        }
    }
    Results results;
    for (int round = 0; round < plan.rounds; ++round) {
        for (const Cell& cell : cells) {
            for (const Row& row : rows) {
                results.Add(cell, row.name, round, FiguresIn(OutputOf(CommandOf(row, cell, plan))));
            }
        }
        std::reverse(rows.begin(), rows.end());
    }
    std::printf("Medians of %d rounds of %.2f s, answers of %zu bytes, %ld processors.\n",
                plan.rounds, plan.seconds, plan.answer_bytes, ::sysconf(_SC_NPROCESSORS_ONLN));
    PrintFigureTable(cells, results);
    PrintRatioTable(Cost::kTime, cells, results);
    if (plan.has_cpu) {
        std::printf("\n");
        PrintRatioTable(Cost::kProcessorTime, cells, results);
    }
}
