#include "GrammarReaders.h"

#include <utility>

#include "GrammarParser.h"
#include "LogText.h"
#include "ResourceError.h"
#include "TextLines.h"

namespace orvx {
namespace {

using TokenKind = GrammarToken::Kind;

std::string TakeGrammarName(GrammarParser* parser) {
    if (!parser->Token().IsWord("grammar")) return {};
    parser->Advance();
    std::string name = parser->Token().text;
    if (parser->Token().kind != TokenKind::kWord) {
        throw ResourceError(parser->Token().line, "the grammar's name expected");
    }
    parser->Advance();
    parser->Expect(';');
    return name;
}

// A rule may be called by its full name, <grammar.rule>.
void ShortenNames(const std::string& prefix, Expansion* expansion) {
    if (expansion->kind == Expansion::Kind::kRule && expansion->text.starts_with(prefix)) {
        expansion->text.erase(0, prefix.size());
    }
    for (Expansion& part : expansion->parts) ShortenNames(prefix, &part);
}

// A statement of an ABNF grammar that is not a rule.
void TakeDeclaration(GrammarParser* parser, std::string* root) {
    const GrammarToken keyword = parser->Token();
    parser->Advance();
    const GrammarToken value = parser->Token();
    const std::string text = LowerCase(value.text);
    if (keyword.text == "root" && value.kind == TokenKind::kRule) {
        *root = value.text;
    } else if (keyword.text == "language" && !text.starts_with("en")) {
        throw ResourceError(keyword.line, "language " + Quote(value.text) +
                                              ": this server recognises English only");
    } else if (keyword.text == "mode" && text != "voice") {
        throw ResourceError(keyword.line, "mode " + Quote(value.text) + ": only voice is heard");
    } else if (keyword.text == "lexicon") {
        throw ResourceError(keyword.line, "lexicon documents are not available");
    } else if (keyword.text != "language" && keyword.text != "mode" && keyword.text != "base" &&
               keyword.text != "tag-format" && keyword.text != "meta" &&
               keyword.text != "http-equiv") {
        throw ResourceError(keyword.line,
                            "a rule or a declaration expected, not " + Quote(keyword.text));
    }
    parser->SkipStatement();
}

bool TakeScope(GrammarParser* parser, const char* scope) {
    if (!parser->Token().IsWord(scope)) return false;
    parser->Advance();
    return true;
}

}  // namespace

GrammarRules ReadJsgf(std::string_view text) {
    GrammarParser parser(GrammarDialect::kJsgf, text, "#JSGF");
    const std::string prefix = TakeGrammarName(&parser) + ".";
    GrammarRules grammar;
    while (!parser.IsAtEnd()) {
        if (parser.Token().IsWord("import")) {
            throw ResourceError(parser.Token().line,
                                "imports are not available; put the rules into this grammar");
        }
        const bool is_public = TakeScope(&parser, "public");
        std::string name = parser.TakeRule(&grammar);
        if (is_public) grammar.roots.push_back(std::move(name));
    }
    if (grammar.roots.empty()) throw ResourceError("no rule of the grammar is public");
    for (auto& [name, expansion] : grammar.rules) ShortenNames(prefix, &expansion);
    return grammar;
}

GrammarRules ReadAbnf(std::string_view text) {
    GrammarParser parser(GrammarDialect::kAbnf, text, "#ABNF");
    GrammarRules grammar;
    std::string root;
    while (!parser.IsAtEnd()) {
        const bool has_scope = TakeScope(&parser, "public") || TakeScope(&parser, "private");
        if (!has_scope && parser.Token().kind == TokenKind::kWord) {
            TakeDeclaration(&parser, &root);
            continue;
        }
        std::string name = parser.TakeRule(&grammar);
        if (root.empty()) root = std::move(name);
    }
    if (root.empty()) throw ResourceError("the grammar has no rule");
    if (!grammar.rules.contains(root)) {
        throw ResourceError("the root rule " + Quote(root) + " is not defined");
    }
    grammar.roots.push_back(std::move(root));
    return grammar;
}

}  // namespace orvx
