#include "GrammarLexer.h"

#include <algorithm>
#include <charconv>

#include "LogText.h"
#include "ResourceError.h"

namespace orvx {
namespace {

constexpr std::string_view kSymbols = "=;|*+()[]";
constexpr std::string_view kEndsWord = "=;|*+()[]<>{}/\"$!";

bool IsBlank(char byte) {
    return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n' || byte == '\f';
}

// White space and what markup needs; 0 is the end of the text.
bool EndsWord(char byte) {
    return byte == '\0' || IsBlank(byte) || kEndsWord.find(byte) != std::string_view::npos;
}

}  // namespace

GrammarLexer::GrammarLexer(GrammarDialect dialect, std::string_view text)
    : dialect_(dialect), text_(text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text_.starts_with(kByteOrderMark)) text_.remove_prefix(kByteOrderMark.size());
    const std::size_t zero = text_.find('\0');
    if (zero == std::string_view::npos) return;
    const auto lines = std::count(text_.begin(), text_.begin() + static_cast<long>(zero), '\n');
    throw ResourceError(static_cast<int>(lines) + 1, "holds a zero byte; a text is expected");
}

std::string_view GrammarLexer::TakeHeader(std::string_view mark) {
    if (!text_.starts_with(mark)) {
        throw ResourceError(1, "must begin with " + Quote(mark));
    }
    const std::size_t end = std::min(text_.find_first_of(";\r\n"), text_.size());
    position_ = end;
    if (Peek() == ';') ++position_;
    return text_.substr(0, end);
}

char GrammarLexer::Peek(std::size_t offset) const {
    return position_ + offset < text_.size() ? text_[position_ + offset] : '\0';
}

char GrammarLexer::Take() {
    const char byte = Peek();
    if (byte == '\n') ++line_;
    ++position_;
    return byte;
}

void GrammarLexer::SkipBlanksAndComments() {
    while (true) {
        if (IsBlank(Peek())) {
            Take();
        } else if (Peek() == '/' && Peek(1) == '/') {
            while (Peek() != '\0' && Peek() != '\n') Take();
        } else if (Peek() == '/' && Peek(1) == '*') {
            SkipBlockComment();
        } else {
            return;
        }
    }
}

void GrammarLexer::SkipBlockComment() {
    const std::size_t end = text_.find("*/", position_ + 2);
    if (end == std::string_view::npos) throw ResourceError(line_, "the comment /* has no end");
    while (position_ < end + 2) Take();
}

std::string GrammarLexer::TakeUntil(char end, const char* what) {
    const int first_line = line_;
    std::string taken;
    while (Peek() != end) {
        if (position_ >= text_.size()) {
            throw ResourceError(first_line, std::string(what) + " has no end");
        }
        if (Peek() == '\\' && Peek(1) != '\0') Take();
        taken += Take();
    }
    Take();
    return taken;
}

// ABNF also writes {!{ ... }!}, within which braces mean nothing.
std::string GrammarLexer::TakeTag() {
    if (Peek() != '!' || Peek(1) != '{') return TakeUntil('}', "the tag {");
    const std::size_t end = text_.find("}!}", position_);
    if (end == std::string_view::npos) throw ResourceError(line_, "the tag {!{ has no end");
    while (position_ < end + 3) Take();
    return {};
}

GrammarToken GrammarLexer::TakeWeight(GrammarToken token) {
    const std::string number = TakeUntil('/', "the weight /");
    const char* const end = number.data() + number.size();
    const auto [rest, error] = std::from_chars(number.data(), end, token.number);
    if (error != std::errc() || rest != end || !(token.number > 0 && token.number <= 1e6F)) {
        throw ResourceError(token.line, "the weight " + Quote("/" + number + "/") +
                                            " is no number above 0 and up to 1000000");
    }
    token.kind = GrammarToken::Kind::kWeight;
    return token;
}

GrammarToken GrammarLexer::TakeDollarName(GrammarToken token) {
    if (Peek() == '<' || Peek() == '(') {
        throw ResourceError(
            token.line, "rules of other grammars are not available; put the rule into this one");
    }
    token.kind = GrammarToken::Kind::kRule;
    while (!EndsWord(Peek())) token.text += Take();
    if (token.text.empty()) throw ResourceError(token.line, "no rule name behind $");
    return token;
}

GrammarToken GrammarLexer::TakeWord(GrammarToken token) {
    token.kind = GrammarToken::Kind::kWord;
    while (!EndsWord(Peek())) token.text += Take();
    if (!token.text.empty()) return token;
    throw ResourceError(token.line, "unexpected " + Quote(std::string(1, Peek())));
}

GrammarToken GrammarLexer::Next() {
    using Kind = GrammarToken::Kind;
    SkipBlanksAndComments();
    GrammarToken token;
    token.line = line_;
    if (position_ >= text_.size()) return token;
    const char first = Peek();
    const bool is_abnf = dialect_ == GrammarDialect::kAbnf;
    if (kSymbols.find(first) != std::string_view::npos) {
        token.kind = Kind::kSymbol;
        token.text = Take();
        return token;
    }
    if (first == '$' && !is_abnf) throw ResourceError(line_, "unexpected \"$\"");
    if (std::string_view("<{\"/$").find(first) == std::string_view::npos) return TakeWord(token);
    Take();
    switch (first) {
        case '<':
            token.kind = is_abnf ? Kind::kRepeat : Kind::kRule;
            token.text = TakeUntil('>', is_abnf ? "the repeat <" : "the rule name <");
            return token;
        case '{':
            token.kind = Kind::kTag;
            token.text = TakeTag();
            return token;
        case '"':
            token.kind = Kind::kQuoted;
            token.text = TakeUntil('"', "the quotation");
            return token;
        case '/':
            return TakeWeight(token);
        default:
            return TakeDollarName(token);
    }
}

}  // namespace orvx
