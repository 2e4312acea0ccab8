// PocketSphinx in a process of its own hears what it hears in this one, and is replaced when that
// process ends.
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <sstream>

#include "Children.h"
#include "EngineProcess.h"
#include "TestAudio.h"
#include "TestServer.h"

namespace orvx::test {
namespace {

std::string Show(const Heard& heard) {
    std::ostringstream text;
    for (const RecognisedSentence& sentence : heard.sentences) {
        text << sentence.text << " " << sentence.score << ":";
        for (const RecognisedWord& word : sentence.words) {
            text << " " << word.start_ms << "-" << word.end_ms << " " << word.score << " "
                 << word.position << "+" << word.length;
        }
        text << "\n";
    }
    for (const FoundKeyword& keyword : heard.keywords) {
        text << "keyword " << keyword.index << " " << keyword.start_ms << "-" << keyword.end_ms
             << " " << keyword.score << "\n";
    }
    return text.str();
}

Heard Hear(Recogniser* recogniser, const ListeningTask& task, const Samples& speech) {
    recogniser->Start(task, speech);
    recogniser->Feed(speech);
    std::optional<Heard> heard;
    while (!heard) heard = recogniser->Finish(3);
    return *heard;
}

ResourcePtr Make(std::uint64_t id, decltype(Resource::content) content) {
    return std::make_shared<Resource>(Resource{id, std::move(content)});
}

// "go" or "halt", then "forward" or nothing, then whatever is in between.
GrammarNetwork Commands() {
    return {4,
            {"go", "halt", "forward", "ten", "meters"},
            {{0, 2, 0, 0.7F},
             {0, 2, 1, 0.3F},
             {2, 3, 2, 0.5F},
             {2, 3, GrammarNetwork::kNoWord, 0.5F},
             {3, 3, 3, 0.5F},
             {3, 1, 4, 0.5F}}};
}

LanguageModel SmallModel() {
    return {{{4, "-0.6 <s> 0\n-0.6 </s>\n-0.6 go 0\n-0.6 forward 0\n"}, {1, "-0.1 go forward\n"}}};
}

class EngineProcessTest : public testing::Test {
  protected:
    static const PocketSphinxModel& Model() {
        static const PocketSphinxModel model = DefaultOptions(1).model;
        return model;
    }
    static std::unique_ptr<Recogniser> Run(const PocketSphinxModel& model = Model(),
                                           const std::string& program = ORVX_SERVER_PATH) {
        return EngineProcessFactory(model, /*is_verbose=*/false, program)();
    }
    static void SignalChild(int signal) {
        const std::vector<pid_t> children = Children(::getpid());
        ASSERT_EQ(children.size(), 1U);
        ::kill(children[0], signal);
    }

    const Samples speech_ = Load(kGoForward);
};

TEST_F(EngineProcessTest, HearsTheSameAsTheEngineWithin) {
    const auto within = PocketSphinxFactory(Model(), /*is_verbose=*/false)();
    const auto apart = Run();
    const ResourcePtr keywords =
        Make(3, KeywordList{{"Go Forward", "go forward", 0}, {"METERS", "meters", 1e-30}});
    const ListeningTask tasks[] = {{true, nullptr},
                                   {true, Make(1, Commands())},
                                   {true, Make(2, SmallModel())},
                                   {true, keywords},
                                   {false, keywords},
                                   {true, Make(4, UserWords{{"g\xF6", "G OW"}, {"meters", ""}})},
                                   {true, nullptr}};
    for (const ListeningTask& task : tasks) {
        const std::string heard = Show(Hear(apart.get(), task, speech_));
        EXPECT_EQ(heard, Show(Hear(within.get(), task, speech_)));
        EXPECT_NE(heard, "");
    }
    EXPECT_NE(Show(Hear(apart.get(), tasks[4], speech_)).find("keyword 1 "), std::string::npos);
    EXPECT_GT(apart->ProcessorTime(), std::chrono::milliseconds(100));
}

TEST_F(EngineProcessTest, WhatEndsTheProcessCostsOneStretch) {
    const auto engine = Run();
    const std::string heard = Show(Hear(engine.get(), {}, speech_));
    engine->Start({}, {});
    SignalChild(SIGKILL);
    try {
        engine->Feed(speech_);
        ADD_FAILURE() << "nothing was told";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "the decoder ended by signal 9");
    }
    EXPECT_THROW(engine->Finish(1), std::runtime_error);
    EXPECT_EQ(Show(Hear(engine.get(), {}, speech_)), heard);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) SignalChild(signal);  // for the server
    EXPECT_EQ(Show(Hear(engine.get(), {}, speech_)), heard);
}

TEST_F(EngineProcessTest, IsStoppedInTheMiddleOfACall) {
    const auto engine = Run();
    engine->Start({}, speech_);
    int asked = 0;
    engine->SetWatch([&](std::chrono::nanoseconds taken) {
        EXPECT_LT(taken, std::chrono::seconds(2)) << "it has stood still";
        return ++asked < 5;
    });
    SignalChild(SIGSTOP);
    EXPECT_THROW(engine->Feed(speech_), Interrupted);
    EXPECT_EQ(asked, 5);
    engine->SetWatch(nullptr);
    EXPECT_EQ(Hear(engine.get(), {}, speech_).sentences.at(0).text, "go forward ten meters");
}

TEST_F(EngineProcessTest, WhatCannotStartSaysWhy) {
    const auto why = [](const PocketSphinxModel& model, const std::string& program) {
        try {
            Run(model, program);
        } catch (const std::exception& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_EQ(why({"/nowhere", "", ""}, ORVX_SERVER_PATH), "no acoustic model at /nowhere/mdef");
    EXPECT_EQ(why(Model(), "/nowhere"),
              "cannot start a decoder, /nowhere: No such file or directory");
    EXPECT_EQ(why(Model(), "/bin/false"), "the decoder ended with status 1");
    const int status = std::system(ORVX_SERVER_PATH " --decoder </dev/null 2>/dev/null");
    EXPECT_EQ(WEXITSTATUS(status), 2) << "it is not for users";
}

}  // namespace
}  // namespace orvx::test
