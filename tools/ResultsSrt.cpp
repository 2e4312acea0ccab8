// SubRip subtitles. Players are strict about the blank line that ends a block and about times
// that run backwards, and lenient about all else; so those two are guarded here.
#include <algorithm>
#include <cstdio>

#include "ResultFormatter.h"
#include "ResultLines.h"

namespace recognize {

namespace {

// How long a subtitle without a length is shown.
constexpr int kShortestBlockMs = 1;

std::string SrtTime(int milliseconds) {
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d,%03d", milliseconds / 3600000,
                  milliseconds / 60000 % 60, milliseconds / 1000 % 60, milliseconds % 1000);
    return text;
}

// Without line ends: an empty line inside would end the block.
std::string BlockText(const ResultLine& line) {
    std::string text = (line.label.empty() ? "" : line.label + ": ") + line.text;
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    return text;
}

bool IsBlank(const std::string& text) {
    return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

class SrtFormatter : public ResultFormatter {
  public:
    std::string Add(const Lexo_RecogResult& result) override {
        std::string text;
        for (const ResultLine& line : LinesOf(result)) {
            if (line.kind == ResultLine::Kind::kText && !IsBlank(line.text)) {
                text += Block(line);
            }
        }
        return text;
    }

  private:
    std::string Block(const ResultLine& line) {
        const int start = std::max(line.start_ms, last_start_ms_);
        const int end = std::max(line.end_ms, start + kShortestBlockMs);
        last_start_ms_ = start;
        return std::to_string(++blocks_) + "\n" + SrtTime(start) + " --> " + SrtTime(end) + "\n" +
               BlockText(line) + "\n\n";
    }

    int blocks_ = 0;
    int last_start_ms_ = 0;
};

}  // namespace

std::unique_ptr<ResultFormatter> MakeSrtFormatter(const FileContext&) {
    return std::make_unique<SrtFormatter>();
}

}  // namespace recognize
