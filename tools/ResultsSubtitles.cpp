// Subtitles, as SubRip and as WebVTT. Players are strict about the blank line that ends a block and
// about times that run backwards, and lenient about all else; so those two are guarded here.
#include <algorithm>
#include <climits>
#include <cstdio>
#include <utility>
#include <vector>

#include "PlainText.h"
#include "ResultFormatter.h"
#include "ResultLines.h"

namespace recognize {

namespace {

using Kind = ResultLine::Kind;

// How long a subtitle without a length is shown.
constexpr int kShortestBlockMs = 1;

std::string Time(int milliseconds, char point) {
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%03d", milliseconds / 3600000,
                  milliseconds / 60000 % 60, milliseconds / 1000 % 60, point, milliseconds % 1000);
    return text;
}

bool IsBlank(const std::string& text) {
    return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

// The words of a block; a spotted keyword is worth little without its score.
std::string BlockText(const ResultLine& line) {
    std::string text = PlainText(line.text);
    if (line.kind == Kind::kSpotted && line.score) {
        text += " (" + std::to_string(*line.score) + ")";
    }
    return text;
}

// "<", ">" and "&" have a meaning in WebVTT; an arrow would make a line a time.
std::string VttEscaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '&':
                escaped += "&amp;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

class SubtitleFormatter : public ResultFormatter {
  public:
    std::string Add(const Lexo_RecogResult& result) override {
        for (ResultLine& line : LinesOf(result)) {
            const bool is_said = line.kind == Kind::kText || line.kind == Kind::kSpotted;
            if (is_said && !IsBlank(line.text)) {
                lines_.push_back(std::move(line));
            }
        }
        // Where two speak at once, who begins first may end last, and come last.
        return result.nEngineType == LEXO_ENGINE_ANALYSIS ? "" : Blocks();
    }

    std::string Finish(const FileOutcome&) override {
        std::stable_sort(lines_.begin(), lines_.end(),
                         [](const auto& a, const auto& b) { return a.start_ms < b.start_ms; });
        return Blocks();
    }

  private:
    virtual std::string Block(const ResultLine& line, int start_ms, int end_ms) = 0;

    std::string Blocks() {
        std::string text;
        for (const ResultLine& line : std::exchange(lines_, {})) {
            const int start = std::clamp(line.start_ms, last_start_ms_, INT_MAX - kShortestBlockMs);
            last_start_ms_ = start;
            text += Block(line, start, std::max(line.end_ms, start + kShortestBlockMs));
        }
        return text;
    }

    std::vector<ResultLine> lines_;  // not yet written
    int last_start_ms_ = 0;
};

class SrtFormatter : public SubtitleFormatter {
    std::string Block(const ResultLine& line, int start_ms, int end_ms) override {
        return std::to_string(++blocks_) + "\n" + Time(start_ms, ',') + " --> " +
               Time(end_ms, ',') + "\n" + (line.label.empty() ? "" : line.label + ": ") +
               BlockText(line) + "\n\n";
    }

    int blocks_ = 0;
};

class VttFormatter : public SubtitleFormatter {
  public:
    std::string Begin() override { return "WEBVTT\n\n"; }

  private:
    std::string Block(const ResultLine& line, int start_ms, int end_ms) override {
        return Time(start_ms, '.') + " --> " + Time(end_ms, '.') + "\n" +
               (line.label.empty() ? "" : "<v " + line.label + ">") + VttEscaped(BlockText(line)) +
               "\n\n";
    }
};

}  // namespace

std::unique_ptr<ResultFormatter> MakeSrtFormatter(const FileContext&) {
    return std::make_unique<SrtFormatter>();
}

std::unique_ptr<ResultFormatter> MakeVttFormatter(const FileContext&) {
    return std::make_unique<VttFormatter>();
}

}  // namespace recognize
