// The registry of sessions: unknown handles, refusals, and who waits for whom.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <future>
#include <string>

#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

using scripted::Answer;
using scripted::Sequence;
using scripted::WaitFor;

class SessionTest : public HostTest {};

TEST_F(SessionTest, UnknownHandlesAreRefusedByEveryCall) {
    const std::intptr_t stopped = Session("freetalk").Number();
    for (const bool is_ended : {false, true}) {
        if (is_ended) {
            EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
        }
        for (const std::intptr_t number :
             {stopped, stopped + 1, std::intptr_t{0}, std::intptr_t{-1}}) {
            Logged();
            const auto handle = reinterpret_cast<Lexo_Handle>(number);
            const std::string text = "Session [" + std::to_string(number) + "] not found in ";
            char stop_text[80];
            std::snprintf(stop_text, sizeof(stop_text), "Session [%p] not found in ", handle);
            errno = 4711;
            const std::vector<int> codes = CallsWith(handle);
            EXPECT_EQ(errno, 4711) << "logging leaves it alone";
            EXPECT_THAT(codes, ::testing::Each(LEXO_ERR_SESSION_INVALID));
            Lines expected(8, text + "session list.");
            expected.push_back("Engine freetalk doesn't need resource.");
            expected.push_back(std::string(stop_text) + "session list.");
            EXPECT_EQ(Logged(), expected);
        }
    }
    EXPECT_EQ(server_.RequestCount(), 0u);
}

TEST_F(SessionTest, AHeldResultAndABoundResourceKeepTheSession) {
    Session session("grammar");
    ASSERT_EQ(session.Bind("digits"), LEXO_ERR_NONE);
    Deliver(session, scripted::GrammarResult(1, 1));
    EXPECT_EQ(orvx_proxy_SessionStop(session.Handle()), LEXO_ERR_RESULT_NOT_FREE)
        << "fetching is not giving back, and the result comes first";
    EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
    EXPECT_EQ(orvx_proxy_SessionStop(session.Handle()), LEXO_ERR_RESOURCE_NEED_DEACTIVE);
    EXPECT_EQ(Logged(), Lines{});
}

TEST_F(SessionTest, NullOutputsHaveNoEffect) {
    Session session("freetalk");
    EXPECT_EQ(orvx_proxy_Recognize(session.Handle(), "x", 1, 0, nullptr), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(server_.RequestCount(), 0u) << "nothing is sent";
    EXPECT_EQ(orvx_proxy_GetParam(session.Handle(), LEXO_PARAM_STREAM, nullptr),
              LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(orvx_proxy_GetRecogResult(session.Handle(), nullptr), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(orvx_proxy_FreeRecogResult(session.Handle(), nullptr), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(orvx_proxy_LoadResource("grammar", LEXO_RESOURCE_BUFFER, "x", 1,
                                      LEXO_RESOURCE_GRAMMAR_JSGF, nullptr),
              LEXO_ERR_PARAM_INVALID);
    Lexo_Handle handle = nullptr;
    EXPECT_EQ(orvx_proxy_SessionStart("freetalk", nullptr), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(orvx_proxy_SessionStart("nonsense", &handle), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(Session("freetalk").Number(), session.Number() + 1) << "nor was a number used";
}

// The gate is declared behind the server, so that a failing test opens it before the server goes.
TEST_F(SessionTest, WhatChangesTheRegistryWaitsForTheExchangesInProgress) {
    std::promise<void> gate;
    Session session("freetalk");
    Session other("grammar");
    Lexo_Handle started = nullptr;
    Lexo_Handle stopped = nullptr;
    Loaded loaded;
    const Loaded unloaded = LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_ABNF);
    ASSERT_EQ(orvx_proxy_SessionStart("grammar", &stopped), LEXO_ERR_NONE);
    server_.Then(Sequence({WaitFor(gate.get_future().share()), Answer()}));
    auto exchange = std::async(std::launch::async, [&] { return session.Recognize(); });
    ASSERT_TRUE(server_.WaitForRequests(1));
    EXPECT_EQ(other.SetNumber(LEXO_PARAM_VAD_HEAD, 9), LEXO_ERR_NONE) << "others do not wait";
    EXPECT_EQ(other.GetNumber(LEXO_PARAM_VAD_HEAD), 9);
    EXPECT_EQ(other.Recognize(), kGood);
    EXPECT_EQ(other.Bind(unloaded.id) + other.Release(), LEXO_ERR_NONE);
    EXPECT_EQ(CapabilityCount(), 4);

    const std::function<int()> calls[] = {
        [&] { return orvx_proxy_SessionStart("freetalk", &started); },
        [&] { return orvx_proxy_SessionStop(stopped); },
        [&] { return (loaded = LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_ABNF)).code; },
        [&] { return orvx_proxy_UnloadResource("grammar", unloaded.id); }};
    std::vector<std::future<int>> waiting;
    for (const auto& call : calls) waiting.push_back(std::async(std::launch::async, call));
    for (auto& call : waiting)
        EXPECT_EQ(call.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    gate.set_value();
    EXPECT_EQ(exchange.get(), kGood);
    for (auto& call : waiting) EXPECT_EQ(call.get(), LEXO_ERR_NONE);
    EXPECT_EQ(orvx_proxy_SessionStop(started), LEXO_ERR_NONE);
    EXPECT_EQ(orvx_proxy_UnloadResource("grammar", loaded.id), LEXO_ERR_NONE);
}

}  // namespace
