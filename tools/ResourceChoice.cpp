#include "ResourceChoice.h"

#include <algorithm>
#include <span>
#include <string_view>
#include <vector>

#include "Capabilities.h"
#include "Errors.h"

namespace recognize {

namespace {

constexpr std::string_view kGrammarCapabilities[] = {"grammar"};
constexpr std::string_view kKeywordCapabilities[] = {"keywordspot", "analysis"};
constexpr std::string_view kWordCapabilities[] = {"freetalk"};
constexpr std::string_view kNamedCapabilities[] = {"grammar", "keywordspot", "analysis"};

struct KindRow {
    ResourceKind kind;
    std::string_view option;
    std::span<const std::string_view> capabilities;  // the first is the usual one
};

constexpr KindRow kKinds[] = {
    {ResourceKind::kGrammar, "--grammar", kGrammarCapabilities},
    {ResourceKind::kKeywords, "--keywords", kKeywordCapabilities},
    {ResourceKind::kWords, "--words", kWordCapabilities},
    {ResourceKind::kNamed, "--resource", kNamedCapabilities},
};

struct FormatRow {
    std::string_view name;
    Lexo_ResourceFormatType format;
};

constexpr FormatRow kGrammarFormats[] = {
    {"wordlist", LEXO_RESOURCE_GRAMMAR_WORDLIST}, {"abnf", LEXO_RESOURCE_GRAMMAR_ABNF},
    {"jsgf", LEXO_RESOURCE_GRAMMAR_JSGF},         {"arpa", LEXO_RESOURCE_GRAMMAR_ARPA},
    {"wfst", LEXO_RESOURCE_GRAMMAR_WFST},
};

const KindRow& RowOf(ResourceKind kind) {
    return *std::ranges::find(kKinds, kind, &KindRow::kind);
}

std::string Join(std::span<const std::string_view> names, std::string_view last) {
    std::string joined;
    for (std::size_t i = 0; i < names.size(); ++i) {
        joined += i == 0 ? "" : i + 1 == names.size() ? last : ", ";
        joined += names[i];
    }
    return joined;
}

Lexo_ResourceFormatType ParseGrammarFormat(const std::string& name) {
    const auto* found = std::ranges::find(kGrammarFormats, name, &FormatRow::name);
    if (found == std::end(kGrammarFormats)) {
        throw UsageError("--grammar-format cannot be \"" + name + "\": it is one of " +
                         GrammarFormatNames());
    }
    return found->format;
}

void RequireFit(const KindRow& row, std::string_view short_name) {
    if (std::ranges::find(row.capabilities, short_name) == row.capabilities.end()) {
        throw UsageError(std::string(row.option) + " is for capability " +
                         Join(row.capabilities, " or ") + ", not " + std::string(short_name));
    }
}

// Some capabilities hear nothing without being told what to listen for.
void RequireNoNeed(std::string_view short_name) {
    if (short_name == "grammar" || short_name == "keywordspot") {
        const bool is_grammar = short_name == "grammar";
        throw UsageError("capability " + std::string(short_name) + " needs " +
                         (is_grammar ? "a grammar: name its file with --grammar"
                                     : "keywords: name their file with --keywords") +
                         " FILE, or what the server holds with --resource NAME");
    }
}

}  // namespace

std::string ResourceChoice::Typed() const {
    return kind == ResourceKind::kNone ? "" : std::string(RowOf(kind).option) + " " + argument;
}

ResourceChoice ChooseResource(const ResourceOptions& options) {
    const std::pair<ResourceKind, const std::optional<std::string>&> given[] = {
        {ResourceKind::kGrammar, options.grammar},
        {ResourceKind::kKeywords, options.keywords},
        {ResourceKind::kWords, options.words},
        {ResourceKind::kNamed, options.name}};
    ResourceChoice choice;
    for (const auto& [kind, argument] : given) {
        if (!argument) {
            continue;
        }
        const std::string option(RowOf(kind).option);
        if (choice.kind != ResourceKind::kNone) {
            throw UsageError(std::string(RowOf(choice.kind).option) + " and " + option +
                             " exclude each other: a session has one resource");
        }
        if (argument->empty()) {
            throw UsageError(option + " is followed by an empty name");
        }
        choice.kind = kind;
        choice.argument = *argument;
    }
    if (options.grammar_format) {
        if (choice.kind != ResourceKind::kGrammar) {
            throw UsageError("--grammar-format tells the format of a --grammar FILE");
        }
        choice.format = ParseGrammarFormat(*options.grammar_format);
    } else if (choice.kind == ResourceKind::kKeywords) {
        choice.format = LEXO_RESOURCE_KEYWORD_LIST;
    } else if (choice.kind == ResourceKind::kWords) {
        choice.format = LEXO_RESOURCE_FREETALK_USERWORD;
    }
    return choice;
}

std::string ChooseCapability(const std::optional<std::string>& named,
                             const ResourceChoice& choice) {
    if (named) {
        std::string full_name = FullCapabilityName(*named);
        const std::string_view short_name = ShortCapabilityName(full_name);
        if (choice.kind == ResourceKind::kNone) {
            RequireNoNeed(short_name);
        } else {
            RequireFit(RowOf(choice.kind), short_name);
        }
        return full_name;
    }
    if (choice.kind == ResourceKind::kNone) {
        return FullCapabilityName("freetalk");
    }
    if (choice.kind == ResourceKind::kNamed) {
        throw UsageError("--resource does not tell what to do with it: add --capability " +
                         Join(kNamedCapabilities, " or "));
    }
    return FullCapabilityName(RowOf(choice.kind).capabilities.front());
}

std::string ResourceFormatName(Lexo_ResourceFormatType format) {
    const auto* found = std::ranges::find(kGrammarFormats, format, &FormatRow::format);
    if (found != std::end(kGrammarFormats)) {
        return std::string(found->name);
    }
    return format == LEXO_RESOURCE_KEYWORD_LIST ? "keyword list" : "user word list";
}

std::string GrammarFormatNames() {
    std::vector<std::string_view> names;
    for (const FormatRow& row : kGrammarFormats) {
        names.push_back(row.name);
    }
    return Join(names, ", ");
}

}  // namespace recognize
