// The formats of results. A formatter makes the text of one file and keeps what it must know
// between its results; writing is not its work.
#pragma once

#include <Lexo.h>

#include <cstddef>
#include <memory>
#include <string>

#include "Outcome.h"

namespace recognize {

// What a formatter may say about its file.
struct FileContext {
    std::string file;
    std::string capability;  // full name
    std::size_t index = 0;   // among the files of this run
    std::size_t count = 1;   // of the files of this run
    bool verbose = false;
};

// Each call returns the text to write now, possibly none.
class ResultFormatter {
  public:
    virtual ~ResultFormatter() = default;
    virtual std::string Begin() { return {}; }
    virtual std::string Add(const Lexo_RecogResult& result) = 0;
    virtual std::string Finish(const FileOutcome&) { return {}; }
};

// Plain text: a line for each segment. Several files get headers; `verbose` adds times and scores.
std::unique_ptr<ResultFormatter> MakeTextFormatter(const FileContext& context);

// One JSON object, on one line, when the file is finished.
std::unique_ptr<ResultFormatter> MakeJsonFormatter(const FileContext& context);

// Subtitles, SubRip and WebVTT: a block for each segment or spotted keyword; those of an analysis
// when the file is finished.
std::unique_ptr<ResultFormatter> MakeSrtFormatter(const FileContext& context);
std::unique_ptr<ResultFormatter> MakeVttFormatter(const FileContext& context);

}  // namespace recognize
