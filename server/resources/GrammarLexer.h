// Cuts the text of a grammar into tokens. JSGF and ABNF grammars are alike but for the way they
// write rule names and repeats.
#pragma once

#include <string>
#include <string_view>

namespace orvx {

enum class GrammarDialect { kJsgf, kAbnf };

struct GrammarToken {
    enum class Kind {
        kEnd,
        kWord,    // text
        kQuoted,  // text between quotes
        kRule,    // text: the name in <name> or $name
        kTag,     // {...}
        kWeight,  // number
        kRepeat,  // text: what stands in <...> (ABNF)
        kSymbol   // text: one of = ; | * + ( ) [ ]
    };
    Kind kind = Kind::kEnd;
    int line = 1;
    std::string text;
    float number = 0;

    bool IsSymbol(char symbol) const {
        return kind == Kind::kSymbol && text.size() == 1 && text[0] == symbol;
    }
    bool IsWord(std::string_view word) const { return kind == Kind::kWord && text == word; }
};

class GrammarLexer {
  public:
    // Borrows `text`.
    GrammarLexer(GrammarDialect dialect, std::string_view text);

    // The first line, without its end. Throws ResourceError if it does not begin with `mark`.
    std::string_view TakeHeader(std::string_view mark);
    // Throws ResourceError where the text is no token.
    GrammarToken Next();

  private:
    char Peek(std::size_t offset = 0) const;
    char Take();
    void SkipBlanksAndComments();
    void SkipBlockComment();
    std::string TakeUntil(char end, const char* what);
    std::string TakeTag();
    GrammarToken TakeWeight(GrammarToken token);
    GrammarToken TakeDollarName(GrammarToken token);
    GrammarToken TakeWord(GrammarToken token);

    const GrammarDialect dialect_;
    std::string_view text_;
    std::size_t position_ = 0;
    int line_ = 1;
};

}  // namespace orvx
