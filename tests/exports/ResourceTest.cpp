// Resources: which formats load where, their ids, and how bindings hold them.
#include <string>

#include "TestHost.h"

namespace {

using ::testing::Contains;

class ResourceTest : public HostTest {
  protected:
    // Forgets every resource.
    void StartAnew() { ASSERT_EQ(InitProxy(server_.Address()).code, LEXO_ERR_NONE); }
    int Unload(unsigned int id) { return orvx_proxy_UnloadResource("grammar", id); }

    // What the next request carries: a resource's bytes, "=" and a name, or nothing.
    std::string Bound(Session& session) {
        const auto inner = Sent(session).inner;
        return inner.resource_buildin() == 1 ? "=" + inner.proload_resource()
                                             : inner.resource_data();
    }
};

// Each case starts with the resources 2, 3 and the empty 4. A step 2, 3, 4 or 7 binds the resource
// of that id, n binds the name "city", and - releases.
TEST_F(ResourceTest, TheBindingAndWhatItHolds) {
    const Lines empty, unknown = {"Resource [7] not found.", "GetResouceByID failed!"};
    const struct {
        const char* before;
        char step;
        int code;
        Lines errors;
        const char* bound;   // afterwards
        const char* unload;  // which of 2, 3 and 4 can be unloaded then
    } cases[] = {
        {"", '2', LEXO_ERR_NONE, empty, "two", "34"},
        {"", 'n', LEXO_ERR_NONE, empty, "=city", "234"},
        {"", '-', LEXO_ERR_DEACTIVE_RESOURCE_FAILED, empty, "", "234"},
        {"", '7', LEXO_ERR_ACTIVE_RESOURCE_FAILED, unknown, "", "234"},
        {"", '4', LEXO_ERR_PARAM_INVALID, empty, "", "23"},
        {"2", '2', LEXO_ERR_NONE, empty, "two", "34"},
        {"22", '-', LEXO_ERR_NONE, empty, "", "234"},
        {"2", '3', LEXO_ERR_NONE, empty, "three", "24"},
        {"2", 'n', LEXO_ERR_NONE, empty, "=city", "234"},
        {"2", '-', LEXO_ERR_NONE, empty, "", "234"},
        {"2-", '-', LEXO_ERR_DEACTIVE_RESOURCE_FAILED, empty, "", "234"},
        {"2", '7', LEXO_ERR_ACTIVE_RESOURCE_FAILED, unknown, "two", "34"},
        {"2", '4', LEXO_ERR_PARAM_INVALID, empty, "", "23"},
        {"n", '2', LEXO_ERR_NONE, empty, "two", "34"},
        {"n", 'n', LEXO_ERR_NONE, empty, "=city", "234"},
        {"n", '-', LEXO_ERR_NONE, empty, "", "234"},
        {"n", '7', LEXO_ERR_ACTIVE_RESOURCE_FAILED, unknown, "=city", "234"},
        {"n", '4', LEXO_ERR_PARAM_INVALID, empty, "=city", "23"},
        {"2n", '-', LEXO_ERR_NONE, empty, "", "234"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::string(one.before) + " then " + one.step);
        StartAnew();
        for (const std::string data : {"two", "three", ""})
            LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_ABNF, data);
        Session session("grammar");
        const auto take = [&](char step) {
            return step == '-'   ? session.Release()
                   : step == 'n' ? session.Bind("city")
                                 : session.Bind(static_cast<unsigned int>(step - '0'));
        };
        for (const char step : std::string(one.before)) EXPECT_EQ(take(step), LEXO_ERR_NONE);
        Logged();
        EXPECT_EQ(take(one.step), one.code);
        EXPECT_EQ(Logged(), one.errors);
        EXPECT_EQ(Bound(session), one.bound);
        for (const char id : {'2', '3', '4'}) {
            const bool is_free = std::string(one.unload).find(id) != std::string::npos;
            EXPECT_EQ(Unload(static_cast<unsigned int>(id - '0')),
                      is_free ? LEXO_ERR_NONE : LEXO_ERR_UNLOAD_RESOURCE_FAILED);
            EXPECT_EQ(Logged(), is_free ? Lines()
                                        : Lines{std::string("Resource [asr.cloud.grammar][") + id +
                                                "] still referenced"});
        }
    }
    StartAnew();
}

TEST_F(ResourceTest, WhatASessionSaysOfItsBinding) {
    LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_ABNF);
    Session freetalk("FreeTalk");
    Session grammar("grammar");
    EXPECT_EQ(freetalk.Bind("city"), LEXO_ERR_NOT_SUPPORT);
    EXPECT_EQ(Logged(), Lines{"Session [" + std::to_string(freetalk.Number()) +
                              "] not found in session list."})
        << "the texts of two cases stand crossed over";
    EXPECT_EQ(grammar.Bind(2), LEXO_ERR_NONE);
    home_.NewLog();
    EXPECT_EQ(grammar.Bind(2), LEXO_ERR_NONE);
    EXPECT_EQ(Logged("INFO"), Lines{"New resource id is equal to old resource id."});
    EXPECT_EQ(grammar.Release(), LEXO_ERR_NONE);
    EXPECT_EQ(Unload(2), LEXO_ERR_NONE);
}

TEST_F(ResourceTest, FormatsOfEachCapability) {
    for (int format = -1; format <= 8; ++format) {
        const std::string number = "[" + std::to_string(format) + "].";
        const std::string list_only =
            "keywordspot and analysis need resource type [KEYWORD_LIST] real " + number;
        const struct {
            const char* capability;
            bool is_own;
            int code;  // for other formats
            std::string error;
        } cases[] = {
            {"freetalk", format == 6, LEXO_ERR_NONE, "freetalk don't need resource type " + number},
            {"grammar", format >= 1 && format <= 5, LEXO_ERR_PARAM_INVALID,
             "grammar don't need resource type " + number},
            {"keywordspot", format == 0, LEXO_ERR_NOT_SUPPORT, list_only},
            {"analysis", format == 0, LEXO_ERR_NOT_SUPPORT, list_only},
        };
        for (const auto& one : cases) {
            SCOPED_TRACE(one.capability + number);
            home_.NewLog();
            const Loaded loaded = LoadBuffer(one.capability, format);
            EXPECT_EQ(loaded.code, one.is_own ? LEXO_ERR_NONE : one.code);
            EXPECT_EQ(loaded.id == 0, loaded.code != LEXO_ERR_NONE);
            const Lines log = home_.NewLog();
            EXPECT_THAT(log, Contains("ERROR " + one.error).Times(one.is_own ? 0 : 1));
            EXPECT_THAT(
                log, Contains("DEBUG LoadResource cap_name=asr.cloud." +
                              std::string(one.capability) + ", res_id=" + std::to_string(loaded.id))
                         .Times(loaded.id == 0 ? 0 : 1));
        }
    }
    StartAnew();
}

TEST_F(ResourceTest, IdsCountFromTwoForEachCapabilityAndAreNeverUsedAgain) {
    const auto load = [](const char* capability) { return LoadBuffer(capability, 1).id; };
    EXPECT_EQ(load("grammar"), 2u);
    EXPECT_EQ(LoadBuffer("grammar", 0).code, LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(load("grammar"), 3u) << "a refused load uses no id";
    EXPECT_EQ(Unload(3), LEXO_ERR_NONE);
    EXPECT_EQ(load("grammar"), 4u);
    EXPECT_EQ(load("freetalk"), 2u);
    EXPECT_EQ(load("freetalk"), 3u);
    Logged();
    for (const unsigned int id : {0u, 1u, 3u, 5u}) {
        EXPECT_EQ(Unload(id), LEXO_ERR_UNLOAD_RESOURCE_FAILED);
        EXPECT_EQ(Session("grammar").Bind(id), LEXO_ERR_ACTIVE_RESOURCE_FAILED);
        const std::string text = "Resource [" + std::to_string(id) + "] not found.";
        EXPECT_EQ(Logged(), (Lines{text, text, "GetResouceByID failed!"}));
    }
    StartAnew();
    EXPECT_EQ(load("grammar"), 2u) << "a new engine list counts anew";
    EXPECT_EQ(Unload(2), LEXO_ERR_NONE);
}

// The session keeps the bytes that it borrowed, the engine list knows nothing of them any more.
TEST_F(ResourceTest, ABindingOutlivesTheEngineList) {
    Session session("grammar");
    LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_ABNF, "old");
    EXPECT_EQ(session.Bind(2), LEXO_ERR_NONE);
    InitProxy(server_.Address() + ",/");
    Logged();
    const std::string missing = "Engine[asr.cloud.grammar] not found.";
    EXPECT_EQ(session.Bind(3), LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(session.Bind("city"), LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(session.Release(), LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_ABNF).code,
              LEXO_ERR_CAPABILITY_NOT_EXIST);
    EXPECT_EQ(Logged(), (Lines{missing, "GetResouceByID failed!", missing, missing, missing}));

    StartAnew();
    Logged();
    EXPECT_EQ(session.Bind("city"), LEXO_ERR_ACTIVE_RESOURCE_FAILED);
    EXPECT_EQ(session.Release(), LEXO_ERR_DEACTIVE_RESOURCE_FAILED);
    EXPECT_EQ(Logged(), Lines(2, "Resource [2] not found."));
    EXPECT_EQ(Bound(session), "old");
    EXPECT_EQ(orvx_proxy_SessionStop(session.Handle()), LEXO_ERR_RESOURCE_NEED_DEACTIVE);
    LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_ABNF, "new");
    LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_ABNF, "three");
    EXPECT_EQ(session.Bind(3), LEXO_ERR_NONE);
    EXPECT_EQ(Bound(session), "three");
    EXPECT_EQ(Unload(2), LEXO_ERR_NONE);
    EXPECT_EQ(session.Release(), LEXO_ERR_NONE);
    EXPECT_EQ(Unload(3), LEXO_ERR_NONE);
}

}  // namespace
