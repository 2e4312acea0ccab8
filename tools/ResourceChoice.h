// The resource that a run recognises with, as the command line names it: a grammar, a keyword list
// or a user word list from a file, or one that the server holds under a name.
//
// A session has one resource at a time, and each kind belongs to certain capabilities; what does
// not fit together is refused here, before anything is sent.
#pragma once

#include <Lexo.h>

#include <optional>
#include <string>

namespace recognize {

// The options as they were typed.
struct ResourceOptions {
    std::optional<std::string> grammar;         // a file
    std::optional<std::string> grammar_format;  // its format's name
    std::optional<std::string> keywords;        // a file
    std::optional<std::string> words;           // a file
    std::optional<std::string> name;            // of a resource at the server
};

enum class ResourceKind { kNone, kGrammar, kKeywords, kWords, kNamed };

struct ResourceChoice {
    ResourceKind kind = ResourceKind::kNone;
    std::string argument;                           // the file, or the name at the server
    std::optional<Lexo_ResourceFormatType> format;  // none: to be told from the file

    bool IsFile() const { return kind != ResourceKind::kNone && kind != ResourceKind::kNamed; }
    // "--grammar commands.gram"; empty for none.
    std::string Typed() const;
};

// Throws UsageError: two resources, an empty name, an unknown format.
ResourceChoice ChooseResource(const ResourceOptions& options);

// The full name of the capability to work on: the one that was named, or the one that follows from
// the resource. Throws UsageError when they do not fit, and for a capability that cannot do
// without a resource.
std::string ChooseCapability(const std::optional<std::string>& named, const ResourceChoice& choice);

// "jsgf".
std::string ResourceFormatName(Lexo_ResourceFormatType format);

// "wordlist, abnf, jsgf, arpa, wfst".
std::string GrammarFormatNames();

}  // namespace recognize
