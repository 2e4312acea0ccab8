// What clients may bind: which texts are taken, what they let be said, and what is said of the
// others.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "GrammarPaths.h"
#include "ResourceLoader.h"
#include "TempDir.h"

namespace orvx::test {
namespace {

using quorlan::protocol::LexoRequestMessage;

// All that can be said in up to `words` words, joined by "|".
std::string Sayable(const GrammarNetwork& network, std::size_t words) {
    std::set<std::string> said;
    std::set<std::tuple<int, std::string, std::size_t>> seen;
    std::vector<std::tuple<int, std::string, std::size_t>> open{{0, "", 0}};
    while (!open.empty()) {
        const auto at = open.back();
        const auto& [state, text, length] = at;
        open.pop_back();
        if (!seen.insert(at).second) continue;
        if (state == 1) said.insert(text);
        for (const GrammarNetwork::Arc& arc : network.arcs) {
            if (arc.from != state) continue;
            if (arc.word == GrammarNetwork::kNoWord) {
                open.emplace_back(arc.to, text, length);
            } else if (length < words) {
                const std::string& word = network.words.at(static_cast<std::size_t>(arc.word));
                open.emplace_back(arc.to, text + (text.empty() ? "" : " ") + word, length + 1);
            }
        }
    }
    std::string all;
    for (const std::string& text : said) all += (all.empty() ? "" : "|") + text;
    return all;
}

class ResourceTest : public testing::Test {
  protected:
    ResourceLoader::Loaded Load(Capability capability, ResourceFormat format,
                                const std::string& bytes) {
        return Load(&loader_, capability, format, bytes);
    }
    static ResourceLoader::Loaded Load(ResourceLoader* loader, Capability capability,
                                       ResourceFormat format, const std::string& bytes) {
        LexoRequestMessage request;
        request.set_resource_data(bytes);
        request.set_resource_data_len(static_cast<int>(bytes.size()));
        request.set_resource_type(format);
        return loader->Load(capability, request);
    }
    ResourceLoader::Loaded LoadNamed(Capability capability, const std::string& name) {
        LexoRequestMessage request;
        request.set_resource_buildin(1);
        request.set_proload_resource(name);
        return loader_.Load(capability, request);
    }
    // What the grammar lets be said, or "CODE TEXT".
    static std::string Show(const ResourceLoader::Loaded& loaded, std::size_t words = 3) {
        if (const Failure* const failure = std::get_if<Failure>(&loaded)) {
            return std::to_string(failure->error_no) + " " + failure->text;
        }
        const ResourcePtr& resource = std::get<ResourcePtr>(loaded);
        if (!resource) return "none";
        const auto* const network = std::get_if<GrammarNetwork>(&resource->content);
        return network != nullptr ? Sayable(*network, words) : "taken";
    }
    std::string ShowGrammar(ResourceFormat format, const std::string& text) {
        return Show(Load(Capability::kGrammar, format, text));
    }

    TempDir dir_;
    ResourceLoader loader_{dir_.Write("words.dict", "a AH\na(2) EY\nb B IY\nc S IY\nd D IY\n"),
                           dir_.Path("")};
};

std::string Repeated(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) all += text;
    return all;
}

TEST_F(ResourceTest, JsgfLetsBeSaidWhatItsRulesSay) {
    const std::pair<std::string, std::string> cases[] = {
        {"public <x> = a B | c;", "a b|c"},
        {"public <x> = (a | b) [c];", "a|a c|b|b c"},
        {"public <x> = a+;", "a|a a|a a a"},
        {"public <x> = b a*;", "b|b a|b a a"},
        {"public <x> = /3/ a | /0.5/ b {tag}; // comment", "a|b"},
        {"public <x> = <y> <y>; <y> = a /* or */ | \"b c\";", "a a|a b c|b c a"},
        {"public <x> = a; public <y> = b; <z> = c;", "a|b"},
        {"public <x> = a <g.y>; <y> = <NULL> | b | <VOID> c;", "a|a b"},
        {"public <x> = a | b <x>;", "a|b a|b b a"},
        {"public <x> = <y> | d; <y> = a | b <z>; <z> = c <y>;", "a|b c a|d"},
        {"public <x> = c <y>; <y> = a [<y>];", "c a|c a a"},
        {"public <x> = ((a | b))* c;", "a a c|a b c|a c|b a c|b b c|b c|c"}};
    for (const auto& [rules, said] : cases) {
        const auto loaded =
            Load(Capability::kGrammar, kJsgf, "\xEF\xBB\xBF#JSGF V1.0;\r\ngrammar g;\r\n" + rules);
        EXPECT_EQ(Show(loaded), said) << rules;
        const GrammarAcceptor grammar(
            std::get<GrammarNetwork>(std::get<ResourcePtr>(loaded)->content));
        for (const std::string text :
             {"", "a", "b", "a b", "b a", "a c", "b c a", "a b c", "d", "e"})
            EXPECT_EQ(grammar.Accepts(text), ("|" + said + "|").find("|" + text + "|") != said.npos)
                << text;
    }
    EXPECT_EQ(ShowGrammar(kJsgf, "#JSGF V1.0;\rgrammar g;\r// comment\rpublic <x> = a;\r"), "a");
}

TEST_F(ResourceTest, WhatCannotBeSaidTakesNoPlaceInTheNetwork) {
    const auto loaded = Load(
        Capability::kGrammar, kJsgf,
        "#JSGF V1.0;\npublic <x> = a b | <v> a | a <v>; <v> =" + Repeated(" <VOID> c", 1000) + ";");
    EXPECT_EQ(Show(loaded), "a b");
    const auto& network = std::get<GrammarNetwork>(std::get<ResourcePtr>(loaded)->content);
    EXPECT_EQ(network.states, 3);
    EXPECT_EQ(network.arcs.size(), 2U);
}

TEST_F(ResourceTest, WrongJsgfIsRefusedWithItsLine) {
    const std::pair<std::string, std::string> cases[] = {
        {"public <x> = a | ;", "line 2: a word or a rule expected, not \";\""},
        {"\n\npublic <x> = (a | b;", "line 4: \")\" expected, not \";\""},
        {"public <x> = a", "\";\" expected, not the end of the text"},
        {"public <x> = a;\n<x> = b;", "line 3: the rule \"x\" is defined twice"},
        {"public <x> = <y>;", "line 2: the rule \"y\" is not defined"},
        {"public <x> = <x> a | b;", "line 2: the rule \"x\" calls itself before its end"},
        {"public <x> = a <y> b;\n<y> = c <x>;", "line 3: the rule \"x\" calls itself"},
        {"<x> = a;", "no rule of the grammar is public"},
        {"import <other.*>;", "line 2: imports are not available"},
        {"public <x> = a zig |\nzag b | zig;",
         "not in the dictionary: \"zig\" (line 2), \"zag\" (line 3)"},
        {"public <x> = /x/ a;", "line 2: the weight \"/x/\" is no number"},
        {"public <x> = /0/ a;", "line 2: the weight \"/0/\" is no number"},
        {"public <x> = /1\n\x1B[1m/ a;", "line 2: the weight \"/1\\x0A\\x1B[1m/\" is no number"},
        {"public <x> = a /* b;", "line 2: the comment /* has no end"},
        {"public <x> = a {b;", "line 2: the tag { has no end"},
        {"public <x> = $a;", "line 2: unexpected \"$\""},
        {"public <" + std::string(256, 'x') + "> = a;", "line 2: a word or the name of a rule is"},
        {"public <x> = a <" + std::string(256, 'x') + ">;", "longer than 255 bytes"},
        {"public <x> = a \"b " + std::string(256, 'x') + "\";", "longer than 255 bytes"},
        {std::string("public <x> = a\0;", 16), "line 2: holds a zero byte"},
        {"public <x> = " + std::string(1000, '(') + "a", "nested too deeply"},
        {"public <x> = a" + std::string(1000000, '*') + ";", "nested too deeply"},
        {[] {
             std::string rules = "public <a0> = <a1>; <a30> = <VOID>;";
             for (int i = 1; i < 30; ++i) {
                 const std::string next = "<a" + std::to_string(i + 1) + ">";
                 rules += "<a" + std::to_string(i) + "> = " + next + next + ";";
             }
             return rules;
         }(),
         "too many paths"},
        {[] {
             std::string rules = "public <a0> = <a1>; <a150> = a;";
             for (int i = 1; i < 150; ++i) {
                 rules += "<a" + std::to_string(i) + "> = " + Repeated("(", 20) + "<a" +
                          std::to_string(i + 1) + ">" + Repeated(")++++++++++", 20) + ";";
             }
             return rules;
         }(),
         "rules and groups are nested too deeply"},
        {"public <x> = a" + Repeated(" [b]", 100) + ";", "too many optional parts in a row"},
        {"public <x> = (a" + Repeated("|b", 4000) + ")+;", "too many words may follow too many"},
        {"public <x> = a" + Repeated(" b", 300000) + ";", "text is too long for this server"},
        {"public <x> = <a1> <a1>; <a1> = <a2> <a2> <a2> <a2>; <a2> = <a3> <a3> <a3> <a3>;"
         "<a3> = <a4> <a4> <a4> <a4>; <a4> = <a5> <a5> <a5> <a5>; <a5> = <a6> <a6> <a6> <a6>;"
         "<a6> = <a7> <a7> <a7> <a7>; <a7> = <a8> <a8> <a8> <a8>; <a8> = a | b | c | d;",
         "too many paths"}};
    for (const auto& [rules, says] : cases) {
        const std::string shown = ShowGrammar(kJsgf, "#JSGF V1.0;\n" + rules);
        EXPECT_EQ(shown.find("17 resource: "), 0U) << rules;
        EXPECT_NE(shown.find(says), std::string::npos) << shown;
    }
    EXPECT_EQ(ShowGrammar(kJsgf, "a"), "17 resource: line 1: must begin with \"#JSGF\"");
}

TEST_F(ResourceTest, AbnfIsTakenAsFarAsItCanBeFollowed) {
    const std::pair<std::string, std::string> cases[] = {
        {"language en-US; mode voice; root $y; $x = a; public $y = b $x;", "b a"},
        {"$x = a<2> | b<0-1> c;", "a a|b c|c"},
        {"$x = a<1-> {!{ } ; }!};", "a|a a|a a a"},
        {"$x = $NULL a /* c */ [$y]; private $y = /2/ b | /1.5/ \"c d\";", "a|a b|a c d"},
        {"$x = a*;", "17 resource: line 2: \";\" expected, not \"*\""},
        {"\nlanguage fr-FR;",
         "17 resource: line 3: language \"fr-FR\": this server recognises "
         "English only"},
        {"mode dtmf;", "17 resource: line 2: mode \"dtmf\": only voice is heard"},
        {"lexicon $<x>;",
         "17 resource: line 2: rules of other grammars are not available; put the "
         "rule into this one"},
        {"$x = $<http://x/y> a;",
         "17 resource: line 2: rules of other grammars are not available; "
         "put the rule into this one"},
        {"$x = $GARBAGE a;", "17 resource: line 2: $GARBAGE is not available: name the words"},
        {"$x = a<0-1 /0.6/>;",
         "17 resource: line 2: a repeat such as <2>, <0-1> or <1-> with "
         "numbers up to 100 expected, not the repeat \"<0-1 /0.6/>\""},
        {"$x = a<3-2>;",
         "17 resource: line 2: a repeat such as <2>, <0-1> or <1-> with numbers up "
         "to 100 expected, not the repeat \"<3-2>\""},
        {"$x = a!en-US;", "17 resource: line 2: unexpected \"!\""},
        {"root $z; $x = a;", "17 resource: the root rule \"z\" is not defined"},
        {"rooot $x;", "17 resource: line 2: a rule or a declaration expected, not \"rooot\""}};
    for (const auto& [rules, shown] : cases) {
        EXPECT_EQ(ShowGrammar(kAbnf, "#ABNF 1.0 UTF-8;\n" + rules), shown);
    }
}

TEST_F(ResourceTest, ListsAreReadLineByLine) {
    EXPECT_EQ(ShowGrammar(kWordList, "# cards\r\na b\r\n\n  C \td\n"), "a b|c d");
    EXPECT_EQ(ShowGrammar(kWordList, "# cards\ra b\r\r  C \td\r"), "a b|c d");
    EXPECT_EQ(ShowGrammar(kWordList, "a\r\nb\rb x"),
              "17 resource: not in the dictionary: \"x\" (line 3)");
    EXPECT_EQ(ShowGrammar(kWordList, "\n#\n"), "17 resource: the list of phrases is empty");
    EXPECT_EQ(ShowGrammar(kWordList, "a\nb x\n"),
              "17 resource: not in the dictionary: \"x\" (line 2)");
    const auto loaded = Load(Capability::kKeywordSpot, kKeywordList, "A  b /1e-20/\nc\n");
    const auto& keywords = std::get<KeywordList>(std::get<ResourcePtr>(loaded)->content);
    ASSERT_EQ(keywords.size(), 2U);
    EXPECT_EQ(keywords[0].text + "," + keywords[0].words + "," + keywords[1].text, "A b,a b,c");
    EXPECT_EQ(keywords[0].threshold, 1e-20);
    EXPECT_EQ(keywords[1].threshold, 0);
    const auto user = Load(Capability::kFreeTalk, kUserWords, "Dad  D AH D\na\n");
    const auto& words = std::get<UserWords>(std::get<ResourcePtr>(user)->content);
    EXPECT_EQ(words.at(0).text + "," + words[0].phones + "," + words.at(1).text, "dad,D AH D,a");

    const std::tuple<Capability, ResourceFormat, std::string, std::string> wrong[] = {
        {Capability::kKeywordSpot, kKeywordList, "a\nb c\nB  C\n",
         "line 3: \"B C\" is in the list twice"},
        {Capability::kKeywordSpot, kKeywordList, "a /x/", "line 1: \"/x/\" is no threshold"},
        {Capability::kKeywordSpot, kKeywordList, "/1/", "line 1: a threshold without a keyword"},
        {Capability::kAnalysis, kKeywordList, "z", "not in the dictionary: \"z\" (line 1)"},
        {Capability::kKeywordSpot, kKeywordList,
         [] {
             std::string text;
             for (int i = 0; i < 128; ++i) text += "a ";
             return text + "b";
         }(),
         "longer than 255 bytes"},
        {Capability::kGrammar, kWordList, Repeated("a ", 1 << 20), "line 1: the line is too long"},
        {Capability::kGrammar, kWordList, Repeated("a a a a a a\n", 17000),
         "line 16667: more than"},
        {Capability::kFreeTalk, kUserWords, Repeated("a\n", 9999), "line 5001: more than 5000"},
        {Capability::kFreeTalk, kUserWords, Repeated("x", 256) + " B", "longer than 255 bytes"},
        {Capability::kFreeTalk, kUserWords, Repeated("x B\n", 101),
         "line 101: more than 100 words"},
        {Capability::kFreeTalk, kUserWords, Repeated("x B\n", 60) + Repeated("x D\n", 41),
         "line 101: more than 100 words of one phone"},
        {Capability::kFreeTalk, kUserWords, "x B X", "line 1: \"X\" is no phone"},
        {Capability::kFreeTalk, kUserWords, "x(2) B", "line 1: \"x(2)\" cannot be a word"},
        {Capability::kFreeTalk, kUserWords, "a\nx\ny\n",
         "not in the dictionary: \"x\" (line 2), \"y\" (line 3)"}};
    for (const auto& [capability, format, text, says] : wrong) {
        const std::string shown = Show(Load(capability, format, text));
        EXPECT_EQ(shown.find("17 resource: "), 0U) << shown;
        EXPECT_NE(shown.find(says), std::string::npos) << shown;
    }
}

TEST_F(ResourceTest, LanguageModelsAreChecked) {
    const std::string good =
        "by somebody\n\\data\\\nngram 1=4\nngram 2=2\n\n\\1-grams:\n-1 <s> -0.5\n-1.5 A\n"
        "-99 </s>\n-2 b 0.1\n\n\\2-grams:\n-0.5 <s> a\n-0.25 a b\n\n\\end\\\n";
    const auto loaded = Load(Capability::kGrammar, kArpa, good);
    const auto& orders = std::get<LanguageModel>(std::get<ResourcePtr>(loaded)->content).orders;
    ASSERT_EQ(orders.size(), 2U);
    EXPECT_EQ(orders[0].count, 4U);
    EXPECT_EQ(orders[0].lines,
              "-1.000000\t<s>\t-0.500000\n-1.500000\ta\t0.0\n-99.000000\t</s>\t0.0\n"
              "-2.000000\tb\t0.100000\n");
    EXPECT_EQ(orders[1].lines, "-0.500000\t<s> a\n-0.250000\ta b\n");
    const std::tuple<std::string, std::string, std::string> spoiled[] = {
        {"\\data\\", "data", "no \\data\\ line"},
        {"ngram 1=4", "ngram 1=x", "line 3: no number"},
        {"ngram 1=4", "ngram 1=5", "line 12: the head promised 5 1-grams, but only 4 are here"},
        {"ngram 1=4", "ngram 1=3", "line 10: \\2-grams: expected"},
        {"ngram 1=4", "ngram 1=99999999", "line 3: more than 500000 n-grams"},
        {"-2 b 0.1", "-2 z 0.1", "not in the dictionary: \"z\" (line 10)"},
        {"-2 b 0.1", "-2 A 0.1", "line 10: \"a\" is here twice"},
        {"-2 b 0.1", "x b 0.1", "line 10: \"x\" is no logarithm"},
        {"-2 b 0.1", "nan b 0.1", "line 10: \"nan\" is no logarithm"},
        {"-2 b 0.1", "-2", "line 10: a probability, 1 words"},
        {"-99 </s>", "-99 c", "</s> is not among the 1-grams"},
        {"-0.25 a b", "-0.25 a c", "line 14: \"c\" is not among the 1-grams"},
        {"-1.5 A", "0.1 A", "line 8: \"0.1\" is no logarithm"},
        {"-1.5 A\n-99 </s>\n-2 b 0.1", "0 A\n0 </s>\n0 b", "the 1-grams add up to 3.0"},
        {"-1.5 A\n", "-1.5 A 2\n", "line 8: the probabilities of what may follow \"a\" add up to"},
        {"\\end\\", "", "ends before its \\end\\ line"}};
    for (const auto& [from, to, says] : spoiled) {
        std::string text = good;
        text.replace(text.find(from), from.size(), to);
        const std::string shown = ShowGrammar(kArpa, text);
        EXPECT_NE(shown.find(says), std::string::npos) << shown;
    }
}

TEST_F(ResourceTest, EachCapabilityTakesItsOwnKinds) {
    const std::tuple<Capability, int, const char*> cases[] = {
        {Capability::kGrammar, 5,
         "2 WFST grammars are not available; asr.cloud.grammar takes JSGF, ABNF, ARPA, word list"},
        {Capability::kGrammar, 0,
         "2 resources of format 0 are not for this capability; asr.cloud.grammar takes JSGF, ABNF, "
         "ARPA, word list"},
        {Capability::kAnalysis, 3,
         "2 resources of format 3 are not for this capability; asr.cloud.analysis takes keyword "
         "list"},
        {Capability::kFreeTalk, 0,
         "2 resources of format 0 are not for this capability; asr.cloud.freetalk takes user word "
         "list"}};
    for (const auto& [capability, format, shown] : cases) {
        EXPECT_EQ(Show(Load(capability, static_cast<ResourceFormat>(format), "a")), shown);
    }
    LexoRequestMessage bare;
    EXPECT_EQ(Show(loader_.Load(Capability::kFreeTalk, bare)), "none");
    EXPECT_EQ(Show(loader_.Load(Capability::kAnalysis, bare)), "none");
    EXPECT_EQ(Show(loader_.Load(Capability::kKeywordSpot, bare)),
              "1 no resource is bound; asr.cloud.keywordspot needs one: keyword list");
    bare.set_resource_data("a");
    bare.set_resource_data_len(2);
    EXPECT_EQ(Show(loader_.Load(Capability::kGrammar, bare)),
              "1 resource_data_len is 2, but resource_data holds 1 bytes");
    bare.set_resource_data_len(1);
    EXPECT_EQ(Show(loader_.Load(Capability::kGrammar, bare)),
              "1 resource_type is missing or unknown");
}

TEST_F(ResourceTest, BuiltInResourcesAreFilesOfTheFolderAndNoOthers) {
    dir_.Write("yes.jsgf", "#JSGF V1.0; public <x> = a;");
    dir_.Write("list.txt", "b\n");
    std::filesystem::create_directory(dir_.Path("folder.txt"));
    const auto first = std::get<ResourcePtr>(LoadNamed(Capability::kGrammar, "yes"));
    EXPECT_EQ(Show(first), "a");
    EXPECT_EQ(std::get<ResourcePtr>(LoadNamed(Capability::kGrammar, "yes")), first);
    EXPECT_EQ(Show(LoadNamed(Capability::kGrammar, "list")), "b");
    EXPECT_EQ(Show(LoadNamed(Capability::kAnalysis, "list")), "taken");
    LexoRequestMessage request;
    request.set_resource_buildin(1);
    request.set_proload_resource("yes");
    EXPECT_EQ(loader_.BytesToRead(Capability::kGrammar, request), std::nullopt) << "it is known";
    dir_.Write("yes.jsgf", "#JSGF V1.0; public <x> = b | c;");
    EXPECT_EQ(loader_.BytesToRead(Capability::kGrammar, request), 31U) << "it has changed";
    EXPECT_EQ(Show(LoadNamed(Capability::kGrammar, "yes")), "b|c");
    const auto time = std::filesystem::last_write_time(dir_.Path("yes.jsgf"));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // the clock of files is coarse
    dir_.Write("yes.jsgf", "#JSGF V1.0; public <x> = c | d;");
    std::filesystem::last_write_time(dir_.Path("yes.jsgf"), time);
    EXPECT_EQ(Show(LoadNamed(Capability::kGrammar, "yes")), "c|d") << "of the same size and time";
    for (const char* const missing : {"no", "folder", "yes.jsgf"}) {
        EXPECT_EQ(Show(LoadNamed(Capability::kGrammar, missing)),
                  "17 this server has no built-in resource \"" + std::string(missing) +
                      "\" for asr.cloud.grammar");
    }
    EXPECT_EQ(Show(LoadNamed(Capability::kKeywordSpot, "yes")).substr(0, 2), "17");
    for (const std::string& evil : {std::string("../x"), std::string("/etc/passwd"), std::string(),
                                    std::string(".hidden"), std::string("a\0b", 3)}) {
        EXPECT_EQ(Show(LoadNamed(Capability::kGrammar, evil)).substr(0, 19), "1 proload_resource ");
    }
}

TEST_F(ResourceTest, TheSameBytesAreReadOnce) {
    const auto load = [&](const std::string& text) {
        return std::get<ResourcePtr>(Load(Capability::kGrammar, kWordList, text));
    };
    const ResourcePtr first = load("a");
    EXPECT_EQ(load("a"), first);
    EXPECT_NE(load("b")->id, first->id);
    for (int i = 0; i < 100; ++i) load("a\n#" + std::to_string(i));
    EXPECT_NE(load("a"), first) << "forgotten when a hundred others came";
}

TEST_F(ResourceTest, ThereIsRoomForSoManyThatAreHeldAtOnce) {
    ResourceLoader tight(dir_.Path("words.dict"), "", 30000);
    const auto load = [&](int i) {
        return Load(&tight, Capability::kGrammar, kWordList, "a\n#" + std::to_string(i));
    };
    for (int i = 0; i < 300; ++i) ASSERT_EQ(Show(load(i)), "a") << "nobody held number " << i;
    std::vector<ResourceLoader::Loaded> held;
    while (held.size() < 300 && (held.empty() || Show(held.back()) == "a")) {
        held.push_back(load(static_cast<int>(held.size())));
    }
    EXPECT_EQ(Show(held.back()).substr(0, 23), "34 the resources of all");
    EXPECT_EQ(Show(load(static_cast<int>(held.size()) - 2)), "a") << "it is there already";
    held.clear();
    EXPECT_EQ(Show(load(999)), "a");
}

}  // namespace
}  // namespace orvx::test
