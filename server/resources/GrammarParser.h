// Reads the expansions of a grammar's rules; what both grammar formats share. The readers of the
// formats add their headers and declarations.
#pragma once

#include <string_view>

#include "GrammarLexer.h"
#include "GrammarRules.h"

namespace orvx {

// Every member throws ResourceError where the text is not as the format has it.
class GrammarParser {
  public:
    // Borrows `text`, whose first line must begin with `mark`.
    GrammarParser(GrammarDialect dialect, std::string_view text, std::string_view mark);

    const GrammarToken& Token() const { return token_; }
    void Advance() { token_ = lexer_.Next(); }
    bool IsAtEnd() const { return token_.kind == GrammarToken::Kind::kEnd; }
    // Goes on behind the symbol.
    void Expect(char symbol);
    // Goes on behind the next ";".
    void SkipStatement();

    // <name> = expansion; and keeps it in `rules`. Returns the name.
    std::string TakeRule(GrammarRules* rules);

  private:
    using Kind = Expansion::Kind;

    [[noreturn]] void Fail(const std::string& expected) const;
    Expansion TakeChoice();
    Expansion TakeSequence();
    Expansion TakeRepeated();
    bool TakeRepeatMark(Expansion* part);
    Expansion TakePart();
    void CountPart();
    void CheckLength(std::string_view name) const;
    Expansion TakeGroup(char end);
    Expansion TakeRuleName();
    Expansion TakeWords(bool is_quoted);
    bool IsAtPart() const;

    const GrammarDialect dialect_;
    GrammarLexer lexer_;
    GrammarToken token_;
    int depth_ = 0;
    int parts_ = 0;
};

}  // namespace orvx
