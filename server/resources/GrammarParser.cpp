#include "GrammarParser.h"

#include <charconv>

#include "LogText.h"
#include "ResourceError.h"
#include "TextLines.h"

namespace orvx {
namespace {

constexpr int kDeepestGroup = 100;
constexpr int kMostRepeats = 100;
constexpr int kMostMarks = 10;      // of repeats, behind one part
constexpr int kMostParts = 200000;  // each takes some hundred bytes

using TokenKind = GrammarToken::Kind;

std::string Describe(const GrammarToken& token) {
    switch (token.kind) {
        case TokenKind::kEnd:
            return "the end of the text";
        case TokenKind::kRule:
            return "the rule name " + Quote(token.text);
        case TokenKind::kTag:
            return "a tag";
        case TokenKind::kWeight:
            return "a weight";
        case TokenKind::kRepeat:
            return "the repeat " + Quote("<" + token.text + ">");
        default:
            return Quote(token.text);
    }
}

Expansion Wrap(Expansion::Kind kind, Expansion part) {
    Expansion whole;
    whole.kind = kind;
    whole.line = part.line;
    whole.parts.push_back(std::move(part));
    return whole;
}

Expansion Repeat(Expansion part, int least, int most) {
    Expansion repeat = Wrap(Expansion::Kind::kRepeat, std::move(part));
    repeat.least = least;
    repeat.most = most;
    return repeat;
}

// "2", "0-1", "3-" as ABNF writes between "<" and ">".
bool ParseRepeat(std::string_view text, int* least, int* most) {
    const char* const end = text.data() + text.size();
    auto [rest, error] = std::from_chars(text.data(), end, *least);
    *most = *least;
    if (error != std::errc() || *least < 0) return false;
    if (rest == end) return *most <= kMostRepeats;
    if (*rest++ != '-') return false;
    *most = Expansion::kUnbounded;
    if (rest == end) return *least <= kMostRepeats;
    const auto upper = std::from_chars(rest, end, *most);
    return upper.ec == std::errc() && upper.ptr == end && *most >= *least && *most <= kMostRepeats;
}

}  // namespace

GrammarParser::GrammarParser(GrammarDialect dialect, std::string_view text, std::string_view mark)
    : dialect_(dialect), lexer_(dialect, text) {
    lexer_.TakeHeader(mark);
    Advance();
}

void GrammarParser::Fail(const std::string& expected) const {
    throw ResourceError(token_.line, expected + " expected, not " + Describe(token_));
}

void GrammarParser::Expect(char symbol) {
    if (!token_.IsSymbol(symbol)) Fail(Quote(std::string(1, symbol)));
    Advance();
}

void GrammarParser::SkipStatement() {
    while (!token_.IsSymbol(';')) {
        if (IsAtEnd()) Fail("\";\"");
        Advance();
    }
    Advance();
}

std::string GrammarParser::TakeRule(GrammarRules* rules) {
    if (token_.kind != TokenKind::kRule) Fail("a rule");
    CheckLength(token_.text);
    const GrammarToken name = token_;
    Advance();
    Expect('=');
    Expansion expansion = TakeChoice();
    Expect(';');
    if (!rules->rules.emplace(name.text, std::move(expansion)).second) {
        throw ResourceError(name.line, "the rule " + Quote(name.text) + " is defined twice");
    }
    return name.text;
}

Expansion GrammarParser::TakeChoice() {
    Expansion choice;
    choice.kind = Kind::kChoice;
    choice.line = token_.line;
    while (true) {
        float weight = 1;
        if (token_.kind == TokenKind::kWeight) {
            weight = token_.number;
            Advance();
        }
        choice.weights.push_back(weight);
        choice.parts.push_back(TakeSequence());
        if (!token_.IsSymbol('|')) return choice;
        Advance();
    }
}

bool GrammarParser::IsAtPart() const {
    return token_.kind == TokenKind::kWord || token_.kind == TokenKind::kQuoted ||
           token_.kind == TokenKind::kRule || token_.IsSymbol('(') || token_.IsSymbol('[');
}

Expansion GrammarParser::TakeSequence() {
    Expansion sequence;
    sequence.kind = Kind::kSequence;
    sequence.line = token_.line;
    while (IsAtPart()) sequence.parts.push_back(TakeRepeated());
    if (sequence.parts.empty()) Fail("a word or a rule");
    return sequence;
}

// Tags are for the host's own use of the grammar's text; nothing here carries them.
Expansion GrammarParser::TakeRepeated() {
    Expansion part = TakePart();
    for (int marks = 0; true; ++marks) {
        while (token_.kind == TokenKind::kTag) Advance();
        if (!TakeRepeatMark(&part)) return part;
        if (marks == kMostMarks) throw ResourceError(token_.line, "repeats are nested too deeply");
    }
}

bool GrammarParser::TakeRepeatMark(Expansion* part) {
    int least = 0;
    int most = Expansion::kUnbounded;
    if (dialect_ == GrammarDialect::kJsgf) {
        if (!token_.IsSymbol('*') && !token_.IsSymbol('+')) return false;
        least = token_.IsSymbol('+') ? 1 : 0;
    } else {
        if (token_.kind != TokenKind::kRepeat) return false;
        if (!ParseRepeat(token_.text, &least, &most)) {
            Fail("a repeat such as <2>, <0-1> or <1-> with numbers up to 100");
        }
    }
    Advance();
    *part = Repeat(std::move(*part), least, most);
    return true;
}

Expansion GrammarParser::TakePart() {
    CountPart();
    if (token_.IsSymbol('(')) return TakeGroup(')');
    if (token_.IsSymbol('[')) return Repeat(TakeGroup(']'), 0, 1);
    if (token_.kind == TokenKind::kRule) return TakeRuleName();
    return TakeWords(token_.kind == TokenKind::kQuoted);
}

void GrammarParser::CountPart() {
    if (++parts_ <= kMostParts) return;
    throw ResourceError(token_.line, "the grammar's text is too long for this server");
}

Expansion GrammarParser::TakeGroup(char end) {
    if (++depth_ > kDeepestGroup) throw ResourceError(token_.line, "groups are nested too deeply");
    Advance();
    Expansion group = TakeChoice();
    Expect(end);
    --depth_;
    return group;
}

Expansion GrammarParser::TakeRuleName() {
    Expansion rule;
    rule.line = token_.line;
    rule.text = token_.text;
    CheckLength(rule.text);
    if (rule.text == "GARBAGE" && dialect_ == GrammarDialect::kAbnf) {
        throw ResourceError(token_.line, "$GARBAGE is not available: name the words");
    }
    rule.kind = rule.text == "NULL"   ? Kind::kNothing
                : rule.text == "VOID" ? Kind::kNever
                                      : Kind::kRule;
    Advance();
    return rule;
}

// They are compared many times while the grammar is spread out.
void GrammarParser::CheckLength(std::string_view name) const {
    constexpr std::size_t kMostBytes = 255;
    if (name.size() <= kMostBytes) return;
    throw ResourceError(token_.line, "a word or the name of a rule is longer than 255 bytes");
}

// What stands between quotes may be several words.
Expansion GrammarParser::TakeWords(bool is_quoted) {
    Expansion sequence;
    sequence.kind = Kind::kSequence;
    sequence.line = token_.line;
    for (const std::string_view text : SplitWords(token_.text)) {
        CountPart();
        CheckLength(text);
        Expansion word;
        word.kind = Kind::kWord;
        word.line = token_.line;
        word.text = LowerCase(text);
        sequence.parts.push_back(std::move(word));
    }
    if (is_quoted && sequence.parts.empty()) Fail("a word between the quotes");
    Advance();
    return sequence;
}

}  // namespace orvx
