// Many host threads at once. Each test runs for two seconds at most; ORVX_STRESS_SECONDS makes the
// timed one longer.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>

#include "CapturedOutput.h"
#include "FreshProcess.h"
#include "ResultBuilders.h"
#include "TestHost.h"
#include "Threads.h"

namespace {

using Clock = std::chrono::steady_clock;
using scripted::Request;

// The answer whose result is one sentence: the audio itself.
std::string AudioAsText(const Request& request) {
    auto result = scripted::FreetalkResult(1, 1, 0);
    auto* segment = result.mutable_sfreetalkresult()->mutable_psegmentlist(0);
    segment->mutable_psentenceresults(0)->set_psztext(request.inner.data());
    return scripted::EchoResult(result)(request);
}

// One exchange whose answer must be this audio's.
bool RecognizesItsOwn(Session& session, const std::string& audio) {
    if (session.Recognize(audio) != Outcome{LEXO_ERR_NONE, 2}) return false;
    const auto* segments = session.GetResult()->sFreetalkResult.pSegmentList;
    const bool is_own = audio == segments[0].pSentenceResults[0].pszText;
    return session.FreeResult() == LEXO_ERR_NONE && is_own;
}

class ConcurrencyTest : public HostTest {
  protected:
    // At debug level the log would be most of the work.
    ConcurrencyTest() : HostTest({.level = "error"}) {}
};

TEST_F(ConcurrencyTest, SessionsRecogniseAndStartAllTheTime) {
    constexpr int kSessions = 64;
    const char* const seconds = std::getenv("ORVX_STRESS_SECONDS");
    const auto end =
        Clock::now() + std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 2);
    server_.StopRecording();
    server_.Otherwise(scripted::Sequence(
        {scripted::Pause(std::chrono::milliseconds(3)), scripted::Answer(AudioAsText)}));
    std::atomic<int> exchanges{0};
    std::atomic<int> starts{0};
    std::atomic<int> failures{0};
    InThreads(kSessions + 1, [&](int thread) {
        if (thread == kSessions) {
            for (; Clock::now() < end; ++starts) {
                Lexo_Handle handle = nullptr;
                orvx_proxy_SessionStart("grammar", &handle);
                failures += orvx_proxy_SessionStop(handle) != LEXO_ERR_NONE;
            }
            return;
        }
        Session session(kCapabilities[thread % 4]);
        for (int i = 0; Clock::now() < end; ++i, ++exchanges) {
            const std::string audio = std::to_string(thread) + "/" + std::to_string(i);
            failures += !RecognizesItsOwn(session, audio);
        }
    });
    EXPECT_EQ(failures.load(), 0) << "of " << exchanges.load();
    EXPECT_GE(exchanges.load(), kSessions);
    // A start waits for the exchanges in progress, a few milliseconds, not for those that begin
    // later.
    EXPECT_GE(starts.load(), 5);
    RecordProperty("exchanges", exchanges.load());
    RecordProperty("starts", starts.load());
}

TEST_F(ConcurrencyTest, BindingsAreCountedExactly) {
    server_.StopRecording();
    const unsigned int ids[] = {LoadBuffer("grammar", 1).id, LoadBuffer("grammar", 2).id};
    InThreads(20, [&](int thread) {
        Session session("grammar");
        for (int i = 0; thread >= 16 && i < 200; ++i) EXPECT_EQ(session.Recognize(), kGood);
        for (int i = 0; thread < 16 && i < 5000; ++i) {
            EXPECT_EQ(session.Bind(ids[(thread + i) % 2]), LEXO_ERR_NONE);
            if (i % 3 == 0) {
                EXPECT_EQ(session.Release(), LEXO_ERR_NONE);
            }
        }
    });
    for (const unsigned int id : ids) {
        Session session("grammar");
        EXPECT_EQ(session.Bind(id), LEXO_ERR_NONE);
        EXPECT_EQ(orvx_proxy_UnloadResource("grammar", id), LEXO_ERR_UNLOAD_RESOURCE_FAILED)
            << "the count fell below its bindings";
        EXPECT_EQ(session.Release(), LEXO_ERR_NONE);
        EXPECT_EQ(orvx_proxy_UnloadResource("grammar", id), LEXO_ERR_NONE)
            << "the count stayed above its bindings";
    }
}

TEST_F(ConcurrencyTest, NobodySeesAHalfBuiltEngineList) {
    const std::string address = server_.Address();
    std::atomic<bool> is_over{false};
    const scripted::CapturedOutput out(stdout);
    InThreads(6, [&](int thread) {
        for (int i = 0; thread == 0 && i < 30; ++i)
            EXPECT_EQ(orvx_proxy_Init(address.c_str()), LEXO_ERR_NONE);
        while (thread != 0 && !is_over) {
            EXPECT_EQ(CapabilityCount(), 4);
            EXPECT_EQ(Session("freetalk").Recognize(), kGood);
        }
        is_over = true;
    });
}

void CheckFirstCallsAtOnce() {
    constexpr int kThreads = 24;
    const scripted::TestHome home({.level = "error"});
    scripted::ScriptedServer server;
    const std::string address = server.Address();
    const scripted::CapturedOutput out(stdout);
    InThreads(kThreads, [&](int thread) {
        if (thread % 3 == 0)
            EXPECT_EQ(orvx_proxy_Init(address.c_str()), LEXO_ERR_NONE);
        else
            EXPECT_EQ(orvx_proxy_SessionStop(&server), LEXO_ERR_SESSION_INVALID);
    });
    std::mutex mutex;
    std::set<std::intptr_t> numbers;
    InThreads(kThreads, [&](int) {
        const Session session("freetalk");
        const std::lock_guard lock(mutex);
        numbers.insert(session.Number());
    });
    EXPECT_EQ(numbers.size(), std::size_t{kThreads});
    EXPECT_EQ(*numbers.begin(), 10000);
    EXPECT_EQ(*numbers.rbegin(), 10000 + kThreads - 1);
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
}

TEST(FreshProcessTest, FirstCallsFromManyThreads) {
    IN_FRESH_PROCESS(CheckFirstCallsAtOnce());
}

}  // namespace
