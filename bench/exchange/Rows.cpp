#include "Rows.h"

#include <algorithm>
#include <cstdio>

namespace exchange {

namespace {

const Goal* GoalOf(std::size_t audio_bytes) {
    for (const Goal& goal : kGoals) {
        if (goal.audio_bytes == audio_bytes) {
            return &goal;
        }
    }
    return nullptr;
}

// A ratio with its goal behind it, and a "!" when it is missed.
std::string Field(std::optional<double> ratio, const char* relation, double goal) {
    if (!ratio) {
        return "-";
    }
    char text[64];
    if (goal <= 0) {
        std::snprintf(text, sizeof text, "%.2f", *ratio);
        return text;
    }
    const bool is_met = relation[0] == '<' ? *ratio <= goal : *ratio >= goal;
    std::snprintf(text, sizeof text, "%.2f (%s %.3g)%s", *ratio, relation, goal,
                  is_met ? " " : "!");
    return text;
}

}  // namespace

double Results::Median(const Cell& cell, const std::string& row, double Figures::*figure) const {
    std::vector<double> values;
    for (const auto& [round, figures] : rounds_.at({cell, row})) {
        values.push_back(figures.*figure);
    }
    return MedianOf(values);
}

std::optional<double> Results::Ratio(const Cell& cell, const std::string& upper,
                                     const std::string& lower, double Figures::*figure) const {
    if (!Has(cell, upper) || !Has(cell, lower)) {
        return std::nullopt;
    }
    std::vector<double> ratios;
    const Rounds& below = rounds_.at({cell, lower});
    for (const auto& [round, figures] : rounds_.at({cell, upper})) {
        ratios.push_back(figures.*figure / (below.at(round).*figure));
    }
    return MedianOf(ratios);
}

std::optional<double> Results::CostRatio(Cost cost, const Cell& cell, const std::string& upper,
                                         const std::string& lower) const {
    if (cost == Cost::kProcessorTime) {
        return Ratio(cell, upper, lower, &Figures::both_cpu_us);
    }
    return cell.IsSingle() ? Ratio(cell, upper, lower, &Figures::p50_us)
                           : Ratio(cell, lower, upper, &Figures::per_second);
}

void PrintFigureTable(const std::vector<Cell>& cells, const Results& results) {
    std::printf("%4s %8s  %-7s %10s %9s %9s %9s %9s %9s %8s\n", "load", "audio", "row", "p50_us",
                "req/s", "cpu_us", "srv_us", "faults", "switches", "peak_MB");
    for (const Cell& cell : cells) {
        for (const Row& row : kRows) {
            if (!results.Has(cell, row.name)) {
                continue;
            }
            const auto median = [&](double Figures::*figure) {
                return results.Median(cell, row.name, figure);
            };
            std::printf("%4s %8zu  %-7s %10.1f %9.0f %9.2f %9.2f %9.3f %9.2f %8.1f\n",
                        cell.load.c_str(), cell.audio_bytes, row.name, median(&Figures::p50_us),
                        median(&Figures::per_second), median(&Figures::client_cpu_us),
                        median(&Figures::server_cpu_us), median(&Figures::faults),
                        median(&Figures::switches), median(&Figures::peak_mb));
        }
        std::printf("\n");
    }
}

void PrintRatioTable(Cost cost, const std::vector<Cell>& cells, const Results& results) {
    std::printf("Ratios of %s.\n",
                cost == Cost::kTime ? "time: of the median with one thread, of the rate with more"
                                    : "processor time, client and server together");
    std::printf(
        "In brackets the goal; \"!\" marks one that is missed. Memory: the peak of %u threads.\n",
        kMemoryThreads);
    std::printf("%4s %8s  %18s %12s %18s %18s %18s\n", "load", "audio", "orvx / raw",
                "orvx / gather", "grpc / orvx", "thrift / orvx", "memory / gather");
    for (const Cell& cell : cells) {
        const Goal* const known = GoalOf(cell.audio_bytes);
        const Goal goal = known != nullptr ? *known : Goal{};
        const bool is_for_memory =
            cell.load == std::to_string(kMemoryThreads) && cell.audio_bytes >= 1'000'000;
        const auto ratio = [&](const char* upper, const char* lower) {
            return results.CostRatio(cost, cell, upper, lower);
        };
        std::printf("%4s %8zu  %18s %12s %18s %18s %18s\n", cell.load.c_str(), cell.audio_bytes,
                    Field(ratio("orvx", "raw"), "<=", goal.most_of_raw).c_str(),
                    Field(ratio("orvx", "gather"), "", 0).c_str(),
                    Field(ratio("grpc", "orvx"), ">=", goal.least_of_grpc).c_str(),
                    Field(ratio("thrift", "orvx"), ">=", goal.least_of_thrift).c_str(),
                    Field(is_for_memory ? results.Ratio(cell, "orvx", "gather", &Figures::peak_mb)
                                        : std::nullopt,
                          "<=", kMostMemoryOfGather)
                        .c_str());
    }
}

}  // namespace exchange
