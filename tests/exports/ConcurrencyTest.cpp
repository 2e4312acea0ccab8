// Many host threads at once. Each test runs for two seconds at most; ORVX_STRESS_SECONDS makes the
// timed ones longer.
#include <atomic>
#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "CapturedOutput.h"
#include "FreshProcess.h"
#include "TestHost.h"
#include "Threads.h"

namespace {

using scripted::Answer;
using scripted::Echo;
using scripted::Request;
using scripted::ScriptedServer;

// The answer whose result is one sentence: the audio itself.
scripted::FrameMaker AudioAsText() {
    return [](const Request& request) {
        return Echo([&](auto& m) {
            m.set_recog_status(2);
            m.mutable_sfreetalkresult()->set_nsegmentcount(1);
            auto* segment = m.mutable_sfreetalkresult()->add_psegmentlist();
            segment->set_nresultcount(1);
            segment->add_psentenceresults()->set_psztext(request.inner.data());
        })(request);
    };
}

// One exchange whose answer must be this audio's.
bool RecognizesItsOwn(Session& session, const std::string& audio) {
    if (session.Recognize(audio) != Outcome{LEXO_ERR_NONE, 2}) {
        return false;
    }
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
    constexpr std::chrono::seconds kSlack{1};
    server_.StopRecording();
    server_.Otherwise(
        scripted::Sequence({scripted::Pause(std::chrono::milliseconds(3)), Answer(AudioAsText())}));
    const auto end = Clock::now() + StressTime();
    Longest exchange;
    Longest start_or_stop;
    std::atomic<int> exchanges{0};
    std::atomic<int> failures{0};
    int starts = 0;
    InThreads(kSessions + 1, [&](int thread) {
        if (thread == kSessions) {
            for (; Clock::now() < end; ++starts) {
                Lexo_Handle handle = nullptr;
                start_or_stop.Add(Timed([&] { orvx_proxy_SessionStart("grammar", &handle); }));
                start_or_stop.Add(Timed([&] { failures += orvx_proxy_SessionStop(handle) != 0; }));
            }
            return;
        }
        Session session(kCapabilities[thread % 4]);
        for (int i = 0; Clock::now() < end; ++i) {
            const std::string audio = std::to_string(thread) + "/" + std::to_string(i);
            exchange.Add(Timed([&] { failures += !RecognizesItsOwn(session, audio); }));
            ++exchanges;
        }
    });
    EXPECT_EQ(failures.load(), 0) << "of " << exchanges.load();
    EXPECT_GE(exchanges.load(), kSessions);
    EXPECT_GE(starts, 5);
    EXPECT_LE(start_or_stop.Get(), exchange.Get() + kSlack)
        << "a start waits for the exchanges in progress, not for those that begin later";
    RecordProperty("exchanges", exchanges.load());
    RecordProperty("starts", starts);
    RecordProperty("longest_exchange_ms", static_cast<int>(exchange.Get().count()));
    RecordProperty("longest_start_ms", static_cast<int>(start_or_stop.Get().count()));
}

TEST_F(ConcurrencyTest, UtterancesDoNotMix) {
    constexpr int kThreads = 32;
    std::vector<int> expected = {1, 2, 3, 4, 5, 6, 7, 8, 9, -10};
    InThreads(kThreads, [&](int) {
        Session session("freetalk");
        session.SetNumber(LEXO_PARAM_STREAM, 1);
        for (std::size_t chunk = 1; chunk < expected.size(); ++chunk) {
            EXPECT_EQ(session.Recognize(), kGood);
        }
        EXPECT_EQ(session.Close(), kGood);
    });
    std::map<std::string, std::vector<int>> utterances;
    for (const Request& request : server_.Requests()) {
        utterances[request.inner.identify()].push_back(request.inner.chunk_no());
    }
    EXPECT_EQ(utterances.size(), std::size_t{kThreads}) << "identities never repeat";
    for (const auto& [identity, chunks] : utterances) {
        EXPECT_EQ(chunks, expected) << identity;
    }
}

TEST_F(ConcurrencyTest, NobodySeesAHalfBuiltEngineList) {
    const std::string address = server_.Address();
    std::atomic<bool> is_over{false};
    const scripted::CapturedOutput out(stdout);
    InThreads(6, [&](int thread) {
        if (thread == 0) {
            for (int i = 0; i < 30; ++i) {
                EXPECT_EQ(orvx_proxy_Init(address.c_str()), LEXO_ERR_NONE);
            }
            is_over = true;
            return;
        }
        while (!is_over) {
            Lexo_CapabilityInfoList list = {};
            EXPECT_EQ(orvx_proxy_GetCapabilityInfoList(&list), LEXO_ERR_NONE);
            EXPECT_EQ(list.nCapabilityCount, 4);
            EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(&list), LEXO_ERR_NONE);
            EXPECT_EQ(Session("freetalk").Recognize(), kGood);
        }
    });
}

void CheckFirstCallsAtOnce() {
    constexpr int kThreads = 24;
    const scripted::TestHome home({.level = "error"});
    ScriptedServer server;
    const std::string address = server.Address();
    std::vector<Lexo_Handle> handles(kThreads);
    {
        const scripted::CapturedOutput out(stdout);
        InThreads(kThreads, [&](int thread) {
            if (thread % 3 == 0) {
                EXPECT_EQ(orvx_proxy_Init(address.c_str()), LEXO_ERR_NONE);
            } else {
                EXPECT_EQ(orvx_proxy_SessionStop(&server), LEXO_ERR_SESSION_INVALID);
            }
        });
    }
    InThreads(kThreads, [&](int thread) {
        Lexo_Handle* handle = &handles[static_cast<std::size_t>(thread)];
        EXPECT_EQ(orvx_proxy_SessionStart("freetalk", handle), LEXO_ERR_NONE);
    });
    std::set<std::intptr_t> numbers;
    for (Lexo_Handle handle : handles) {
        numbers.insert(reinterpret_cast<std::intptr_t>(handle));
        EXPECT_EQ(orvx_proxy_SessionStop(handle), LEXO_ERR_NONE);
    }
    EXPECT_EQ(numbers.size(), std::size_t{kThreads});
    EXPECT_EQ(*numbers.begin(), 10000);
    EXPECT_EQ(*numbers.rbegin(), 10000 + kThreads - 1);
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
}

TEST(FreshProcessTest, FirstCallsFromManyThreads) {
    IN_FRESH_PROCESS(CheckFirstCallsAtOnce());
}

}  // namespace
