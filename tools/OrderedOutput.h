// Output of files that are worked on at the same time, in the order of the command line.
//
// The first file that is not finished is the head: what it says goes out at once. What the others
// say waits until they are the head. Sorting at the end would be simpler, and would keep a user
// who watches the first of a hundred files waiting for the last.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "Console.h"

namespace recognize {

// For any number of threads.
class OrderedOutput {
  public:
    OrderedOutput(std::size_t files, Console& console) : console_(console), files_(files) {}

    // A piece of a file's result.
    void Result(std::size_t index, std::string text) { Add(index, {false, std::move(text)}); }
    // A line on standard error, at its place among the results.
    void Message(std::size_t index, std::string text) { Add(index, {true, std::move(text)}); }
    // Nothing more comes for the file.
    void Finish(std::size_t index);

  private:
    struct Piece {
        bool is_message;
        std::string text;
    };
    struct File {
        std::vector<Piece> waiting;
        bool is_finished = false;
    };

    void Add(std::size_t index, Piece piece);
    void Write(const Piece& piece);

    Console& console_;
    std::mutex mutex_;  // guards what follows
    std::vector<File> files_;
    std::size_t head_ = 0;
};

}  // namespace recognize
