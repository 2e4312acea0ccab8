// The rows and columns of the benchmark, and what is expected of the library.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Figures.h"

namespace exchange {

struct Row {
    const char* name;
    const char* program;
};
constexpr Row kRows[] = {{"raw", "orvx_exchange_raw"},
                         {"gather", "orvx_exchange_gather"},
                         {"orvx", "orvx_exchange_orvx"},
                         {"grpc", "orvx_exchange_grpc"},
                         {"thrift", "orvx_exchange_thrift"}};

// One load with one size. A load is a number of threads, with "p" behind it if client and server
// share a processor, "s" if they have one each.
struct Cell {
    std::string load;
    std::size_t audio_bytes = 0;
    friend auto operator<=>(const Cell&, const Cell&) = default;

    bool IsSingle() const { return load == "1" || load == "1p" || load == "1s"; }
};

// What the library is to reach: its cost at most so many times that of raw, and the cost of its
// peers at least so many times its own.
struct Goal {
    std::size_t audio_bytes;
    double most_of_raw;
    double least_of_grpc;
    double least_of_thrift;
};
constexpr Goal kGoals[] = {{320, 2.1, 3, 1 / 1.6},
                           {3200, 2.1, 3, 1 / 1.6},
                           {32000, 1.8, 3.5, 1},
                           {320000, 1.3, 4.5, 1.9},
                           {1920000, 1.15, 3.5, 2.5}};
constexpr double kMostMemoryOfGather = 1.2;
constexpr unsigned kMemoryThreads = 64;

enum class Cost {
    // With one thread the median; with more it is as much the scheduler's order, and the rate
    // counts.
    kTime,
    // Of client and server. What else runs on the machine hardly changes it.
    kProcessorTime
};

// The figures of all rounds.
class Results {
  public:
    void Add(const Cell& cell, const std::string& row, int round, const Figures& figures) {
        rounds_[{cell, row}][round] = figures;
    }
    bool Has(const Cell& cell, const std::string& row) const {
        return rounds_.contains({cell, row});
    }
    double Median(const Cell& cell, const std::string& row, double Figures::*figure) const;
    // The median of the ratios within each round: two rows of a round are neighbours in time.
    std::optional<double> Ratio(const Cell& cell, const std::string& upper,
                                const std::string& lower, double Figures::*figure) const;
    // How many times as much an exchange of `upper` costs as one of `lower`.
    std::optional<double> CostRatio(Cost cost, const Cell& cell, const std::string& upper,
                                    const std::string& lower) const;

  private:
    using Rounds = std::map<int, Figures>;
    std::map<std::pair<Cell, std::string>, Rounds> rounds_;
};

void PrintFigureTable(const std::vector<Cell>& cells, const Results& results);
void PrintRatioTable(Cost cost, const std::vector<Cell>& cells, const Results& results);

}  // namespace exchange
