// The registry of sessions: numbers, unknown handles, refusals, and who waits for whom.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <future>
#include <string>

#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

using scripted::Answer;
using scripted::Logged;
using scripted::LoggedLike;
using scripted::Sequence;
using scripted::WaitFor;

class SessionTest : public HostTest {};

Lexo_Handle HandleOf(std::intptr_t number) {
    return reinterpret_cast<Lexo_Handle>(number);
}

TEST_F(SessionTest, UnknownHandlesAreRefusedByEveryCall) {
    Lexo_ParamValue value = nullptr;
    Lexo_RecogResult* result = nullptr;
    int status = kUntouched;
    const std::intptr_t stopped = Session("freetalk").Number();
    for (const std::intptr_t number : {stopped, std::intptr_t{-1}}) {
        home_.NewLog();
        const Lexo_Handle handle = HandleOf(number);
        const int codes[] = {orvx_proxy_Recognize(handle, "x", 1, 0, &status),
                             orvx_proxy_GetRecogResult(handle, &result),
                             orvx_proxy_FreeRecogResult(handle, &result),
                             orvx_proxy_FreeRecogResult(handle, nullptr),
                             orvx_proxy_SetParam(handle, LEXO_PARAM_STREAM, nullptr),
                             orvx_proxy_GetParam(handle, LEXO_PARAM_STREAM, &value)};
        for (const int code : codes) {
            EXPECT_EQ(code, LEXO_ERR_SESSION_INVALID);
        }
        const auto log = home_.NewLog();
        EXPECT_EQ(std::count_if(log.begin(), log.end(),
                                [](const auto& record) { return record.level == "ERROR"; }),
                  6);
        EXPECT_TRUE(
            LoggedLike(log, "ERROR", "Session \\[-?[0-9]+\\] not found in session list\\."));
        EXPECT_EQ(orvx_proxy_SessionStop(handle), LEXO_ERR_SESSION_INVALID);
        char expected[80];
        std::snprintf(expected, sizeof(expected), "Session [%p] not found in session list.",
                      handle);
        EXPECT_TRUE(Logged(home_.NewLog(), "ERROR", expected));
    }
    EXPECT_EQ(status, kUntouched);
    EXPECT_EQ(server_.RequestCount(), 0u);
}

TEST_F(SessionTest, AHeldResultAndABoundResourceKeepTheSession) {
    Session session("grammar");
    ASSERT_EQ(orvx_proxy_ActivePreloadResource(session.Handle(), "digits"), LEXO_ERR_NONE);
    Deliver(session, scripted::GrammarResult(1, 1));
    EXPECT_EQ(orvx_proxy_SessionStop(session.Handle()), LEXO_ERR_RESULT_NOT_FREE)
        << "fetching is not giving back, and the result comes first";
    EXPECT_EQ(session.FreeResult(), LEXO_ERR_NONE);
    home_.NewLog();
    EXPECT_EQ(orvx_proxy_SessionStop(session.Handle()), LEXO_ERR_RESOURCE_NEED_DEACTIVE);
    EXPECT_TRUE(scripted::NothingLogged(home_.NewLog(), "ERROR"));
    EXPECT_EQ(orvx_proxy_DeactiveResource(session.Handle()), LEXO_ERR_NONE);
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
}

// The gate is declared behind the server, so that a failing test opens it before the server goes.
TEST_F(SessionTest, WhatChangesTheRegistryWaitsForTheExchangesInProgress) {
    std::promise<void> gate;
    Session session("freetalk");
    Lexo_Handle started = nullptr;
    Lexo_Handle stopped = nullptr;
    unsigned int loaded = 0;
    unsigned int unloaded = 0;
    const auto load = [](unsigned int* id) {
        return orvx_proxy_LoadResource("grammar", LEXO_RESOURCE_BUFFER, "x", 1,
                                       LEXO_RESOURCE_GRAMMAR_ABNF, id);
    };
    ASSERT_EQ(orvx_proxy_SessionStart("grammar", &stopped), LEXO_ERR_NONE);
    ASSERT_EQ(load(&unloaded), LEXO_ERR_NONE);
    server_.Then(Sequence({WaitFor(gate.get_future().share()), Answer()}));
    auto exchange = std::async(std::launch::async, [&] { return session.Recognize(); });
    ASSERT_TRUE(server_.WaitForRequests(1));

    std::future<int> calls[] = {
        std::async(std::launch::async,
                   [&]() -> int { return orvx_proxy_SessionStart("freetalk", &started); }),
        std::async(std::launch::async, [&]() -> int { return orvx_proxy_SessionStop(stopped); }),
        std::async(std::launch::async, [&]() -> int { return load(&loaded); }),
        std::async(std::launch::async,
                   [&]() -> int { return orvx_proxy_UnloadResource("grammar", unloaded); }),
    };
    for (auto& call : calls) {
        EXPECT_EQ(call.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    }
    gate.set_value();
    EXPECT_EQ(exchange.get(), (Outcome{LEXO_ERR_NONE, 0}));
    for (auto& call : calls) {
        EXPECT_EQ(call.get(), LEXO_ERR_NONE);
    }
    EXPECT_EQ(orvx_proxy_SessionStop(started), LEXO_ERR_NONE);
    EXPECT_EQ(orvx_proxy_UnloadResource("grammar", loaded), LEXO_ERR_NONE);
}

TEST_F(SessionTest, OtherCallsDoNotWaitForAnExchange) {
    std::promise<void> gate;
    Session held("freetalk");
    Session other("grammar");
    server_.Then(Sequence({WaitFor(gate.get_future().share()), Answer()}));
    auto exchange = std::async(std::launch::async, [&] { return held.Recognize(); });
    ASSERT_TRUE(server_.WaitForRequests(1));
    EXPECT_EQ(other.SetNumber(LEXO_PARAM_VAD_HEAD, 9), LEXO_ERR_NONE);
    EXPECT_EQ(other.GetNumber(LEXO_PARAM_VAD_HEAD), 9);
    EXPECT_EQ(other.Recognize(), (Outcome{LEXO_ERR_NONE, 0}));
    Lexo_CapabilityInfoList list = {};
    EXPECT_EQ(orvx_proxy_GetCapabilityInfoList(&list), LEXO_ERR_NONE);
    EXPECT_EQ(orvx_proxy_ReleaseCapabilityInfoList(&list), LEXO_ERR_NONE);
    EXPECT_EQ(exchange.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    gate.set_value();
    EXPECT_EQ(exchange.get(), (Outcome{LEXO_ERR_NONE, 0}));
}

}  // namespace
