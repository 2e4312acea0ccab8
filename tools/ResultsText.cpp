// Text for people. The recognised words stand alone on their line; what is told about them is
// indented below, or, with --verbose, stands around them.
#include "PlainText.h"
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
        case Kind::kSpotted:
        case Kind::kAlternative:
        case Kind::kEmotion:
        case Kind::kKeyword:
            return !line.text.empty() || verbose;
    }
    return false;
}

// "[00:01.000 - 00:02.100] hello world  (score 90)".
std::string Timed(const ResultLine& line, const std::string& text) {
    return "[" + ClockTime(line.start_ms) + " - " + ClockTime(line.end_ms) + "] " + text +
           (line.score ? "  (score " + std::to_string(*line.score) + ")" : "");
}

std::string Labelled(const ResultLine& line) {
    switch (line.kind) {
        case Kind::kText:
        case Kind::kSpotted:
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

// Of a keyword it matters where it is and how sure, whether or not more is asked for.
std::string Shown(const ResultLine& line, bool verbose) {
    if (verbose || line.kind == Kind::kSpotted) {
        return Timed(line, Labelled(line));
    }
    return line.kind == Kind::kKeyword ? "  " + line.label + ": " + Timed(line, line.text)
                                       : Labelled(line);
}

class TextFormatter : public ResultFormatter {
  public:
    explicit TextFormatter(const FileContext& context) : context_(context) {}

    std::string Begin() override {
        if (context_.count < 2) {
            return {};
        }
        return (context_.index == 0 ? "==> " : "\n==> ") + PlainText(context_.file) + " <==\n";
    }

    std::string Add(const Lexo_RecogResult& result) override {
        std::string text;
        for (const ResultLine& line : LinesOf(result)) {
            if (IsShown(line, context_.verbose)) {
                text += PlainText(Shown(line, context_.verbose)) + "\n";
            }
        }
        return text;
    }

  private:
    const FileContext context_;
};

}  // namespace

std::unique_ptr<ResultFormatter> MakeTextFormatter(const FileContext& context) {
    return std::make_unique<TextFormatter>(context);
}

}  // namespace recognize
