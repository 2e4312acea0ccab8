// PocketSphinx in a process of its own hears what it hears in this one, and is replaced when that
// process ends.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "Children.h"
#include "EngineProcess.h"
#include "TempDir.h"
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
    SignalChild(SIGKILL);
    siginfo_t ended{};
    ::waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT);
    EXPECT_EQ(Show(Hear(engine.get(), {}, speech_)), heard) << "seen before the next stretch";
}

// To end it takes a decoder up to minutes, if it was made for that.
TEST_F(EngineProcessTest, NobodyWaitsForTheEndOfAStretchThatAnotherHasLeft) {
    const auto engine = Run();
    engine->Start({}, {});
    const std::vector<pid_t> first = Children(::getpid());
    engine->Start({}, {});
    EXPECT_EQ(Children(::getpid()), first) << "what is ended soon costs no new one";
    const auto begun = engine->ProcessorTime();
    while (engine->ProcessorTime() - begun < std::chrono::seconds(1)) engine->Feed(speech_);
    const std::string heard = Show(Hear(engine.get(), {}, speech_));
    EXPECT_NE(Children(::getpid()), first);
    EXPECT_NE(heard.find("go forward ten meters"), std::string::npos);
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
    const TempDir dir;
    const std::string program = dir.Path("server");
    std::filesystem::create_symlink(ORVX_SERVER_PATH, program);
    const auto engine = Run(Model(), program);
    std::filesystem::remove(program);
    SignalChild(SIGKILL);
    EXPECT_THROW(engine->Feed(speech_), std::runtime_error);
    EXPECT_THROW(engine->Start({}, {}), NotLoaded);
    std::filesystem::create_symlink(ORVX_SERVER_PATH, program);
    engine->Restore();
    EXPECT_FALSE(Hear(engine.get(), {}, speech_).sentences.empty());
    const int status = std::system(ORVX_SERVER_PATH " --decoder </dev/null 2>/dev/null");
    EXPECT_EQ(WEXITSTATUS(status), 2) << "it is not for users";
}

}  // namespace
}  // namespace orvx::test
