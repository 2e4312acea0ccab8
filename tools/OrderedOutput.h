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

    struct Piece {
        bool is_message;  // a line on standard error, unless results were lost: that says enough
        std::string text;
    };

    // What comes next for a file: all of it, or, where std::bad_alloc is thrown, nothing.
    void Add(std::size_t index, std::vector<Piece> pieces);
    void AddResult(std::size_t index, std::string text);
    // Nothing more comes for the file.
    void Finish(std::size_t index);

  private:
    struct File {
        std::vector<Piece> waiting;
        bool is_finished = false;
    };

    void Write(const Piece& piece);

    Console& console_;
    std::mutex mutex_;  // guards what follows
    std::vector<File> files_;
    std::size_t head_ = 0;
};

}  // namespace recognize
