// Text for people. The recognised words stand alone on their line; what is told about them is
// indented below, or, with --verbose, stands around them.
#include "ResultFormatter.h"
#include "ResultLines.h"

namespace recognize {

namespace {

using Kind = ResultLine::Kind;

bool IsShown(const ResultLine& line, bool verbose) {
    switch (line.kind) {
        case Kind::kWord:
        case Kind::kSilence:
            return verbose;
        case Kind::kText:
        case Kind::kAlternative:
        case Kind::kEmotion:
        case Kind::kKeyword:
            return !line.text.empty() || verbose;
    }
    return false;
}

std::string Labelled(const ResultLine& line) {
    switch (line.kind) {
        case Kind::kText:
            return line.label.empty() ? line.text : line.label + ": " + line.text;
        case Kind::kAlternative:
            return "  or: " + line.text;
        case Kind::kWord:
            return "    " + line.text;
        case Kind::kEmotion:
        case Kind::kKeyword:
            return "  " + line.label + ": " + line.text;
        case Kind::kSilence:
            return "(silence)";
    }
    return {};
}

std::string OneLine(std::string text) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') {
            c = ' ';
        }
    }
    return text;
}

class TextFormatter : public ResultFormatter {
  public:
    explicit TextFormatter(const FileContext& context) : context_(context) {}

    std::string Begin() override {
        if (context_.count < 2) {
            return {};
        }
        return (context_.index == 0 ? "==> " : "\n==> ") + context_.file + " <==\n";
    }

    std::string Add(const Lexo_RecogResult& result) override {
        std::string text;
        for (const ResultLine& line : LinesOf(result)) {
            if (IsShown(line, context_.verbose)) {
                text += OneLine(context_.verbose ? Detailed(line) : Labelled(line)) + "\n";
            }
        }
        return text;
    }

  private:
    static std::string Detailed(const ResultLine& line) {
        std::string text =
            "[" + ClockTime(line.start_ms) + " - " + ClockTime(line.end_ms) + "] " + Labelled(line);
        if (line.score) {
            text += "  (score " + std::to_string(*line.score) + ")";
        }
        return text;
    }

    const FileContext context_;
};

}  // namespace

std::unique_ptr<ResultFormatter> MakeTextFormatter(const FileContext& context) {
    return std::make_unique<TextFormatter>(context);
}

}  // namespace recognize
