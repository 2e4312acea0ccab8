// Binding of resources to sessions, and the references that go with it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "MessagesOf.h"
#include "TestAccess.h"
#include "param_word.h"

namespace {

using Access = OrvexProxyTestAccess;

constexpr const char* kGrammar = "asr.cloud.grammar";
constexpr const char* kSessionNotFound = "Session [4711] not found in session list.";

// Two resources of the grammar engine, 2 and 3, and a session of it.
class ResourceBindingTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(Access::GetEngineList());
        Load("two");
        Load("three");
        ASSERT_EQ(proxy_.SessionStart("grammar", &session_), LEXO_ERR_NONE);
    }
    void TearDown() override {
        proxy_.DeactiveResource(session_);
        EXPECT_EQ(proxy_.SessionStop(session_), LEXO_ERR_NONE);
        for (auto& [name, engine] : Access::Engines()) {
            engine.AbandonBuffers();
        }
        EXPECT_EQ(proxy_.End(), LEXO_ERR_NONE);
    }

    unsigned int Load(const std::string& data) {
        unsigned int id = 0;
        EXPECT_EQ(proxy_.LoadResource(kGrammar, data.c_str(), static_cast<int>(data.size()),
                                      LEXO_RESOURCE_BUFFER, LEXO_RESOURCE_GRAMMAR_ABNF, &id),
                  LEXO_ERR_NONE);
        return id;
    }

    // "2" or "3": binds that one; "n": binds by name; "-": releases.
    Lexo_ErrCode Do(char step) {
        Lexo_ErrCode code = LEXO_ERR_UNKNOWN;
        messages_ = MessagesOf([&] {
            code = step == 'n' ? proxy_.ActivePreloadResource(session_, "city")
                   : step == '-'
                       ? proxy_.DeactiveResource(session_)
                       : proxy_.ActiveResource(session_, static_cast<unsigned int>(step - '0'));
        });
        return code;
    }
    int References(unsigned int id) { return Engine().res_map.at(id).ref; }
    EngineInfo& Engine() { return Access::Engines()[kGrammar]; }

    OrvexProxy& proxy_ = *OrvexProxy::GetInstance();
    void* session_ = nullptr;
    Messages messages_;
};

TEST_F(ResourceBindingTest, ReferencesFollowTheBinding) {
    const struct {
        const char* steps;
        int two, three;  // references afterwards
    } cases[] = {
        {"", 0, 0},    {"2", 1, 0},   {"22", 1, 0}, {"222", 1, 0}, {"23", 0, 1},
        {"232", 1, 0}, {"n2", 1, 0},  {"2n", 0, 0}, {"2n3", 0, 1}, {"nn", 0, 0},
        {"2-", 0, 0},  {"22-", 0, 0}, {"n-", 0, 0}, {"2-3", 0, 1}, {"2n-", 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.steps);
        for (const char step : std::string(c.steps)) {
            EXPECT_EQ(Do(step), LEXO_ERR_NONE);
        }
        EXPECT_EQ(References(2), c.two);
        EXPECT_EQ(References(3), c.three);
        Do('-');
        EXPECT_EQ(Do('-'), LEXO_ERR_DEACTIVE_RESOURCE_FAILED);
        EXPECT_EQ(messages_, Messages{});
    }
}

TEST_F(ResourceBindingTest, SameResourceAgain) {
    Do('2');
    EXPECT_EQ(messages_, Messages{});
    Do('2');
    EXPECT_EQ(messages_, Messages{"New resource id is equal to old resource id."});
}

TEST_F(ResourceBindingTest, BoundResourcesStayLoaded) {
    Do('2');
    EXPECT_EQ(MessagesOf([&] {
                  EXPECT_EQ(proxy_.UnloadResource(kGrammar, 2), LEXO_ERR_UNLOAD_RESOURCE_FAILED);
              }),
              Messages{"Resource [asr.cloud.grammar][2] still referenced"});
    Do('3');
    EXPECT_EQ(proxy_.UnloadResource(kGrammar, 2), LEXO_ERR_NONE);
}

TEST_F(ResourceBindingTest, UnknownResourceKeepsTheOldBinding) {
    Do('2');
    EXPECT_EQ(Do('7'), LEXO_ERR_ACTIVE_RESOURCE_FAILED);
    EXPECT_EQ(messages_, (Messages{"Resource [7] not found.", "GetResouceByID failed!"}));
    EXPECT_EQ(References(2), 1);
    EXPECT_EQ(Do('-'), LEXO_ERR_NONE);
}

// The old binding is gone by then, and the new reference stays taken.
TEST_F(ResourceBindingTest, EmptyResource) {
    const unsigned int empty = Load("");
    ASSERT_EQ(empty, 4u);
    Do('2');
    EXPECT_EQ(Do('4'), LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(References(2), 0);
    EXPECT_EQ(References(4), 1);
    EXPECT_EQ(Do('-'), LEXO_ERR_DEACTIVE_RESOURCE_FAILED);
}

TEST_F(ResourceBindingTest, NamesAndFreetalk) {
    void* freetalk = nullptr;
    ASSERT_EQ(proxy_.SessionStart("freetalk", &freetalk), LEXO_ERR_NONE);
    const std::string number = std::to_string(IntOf(freetalk));
    EXPECT_EQ(MessagesOf([&] {
                  EXPECT_EQ(proxy_.ActivePreloadResource(freetalk, "city"), LEXO_ERR_NOT_SUPPORT);
              }),
              Messages{"Session [" + number + "] not found in session list."});
    EXPECT_EQ(proxy_.SessionStop(freetalk), LEXO_ERR_NONE);
    EXPECT_EQ(proxy_.ActivePreloadResource(session_, nullptr), LEXO_ERR_NONE);
}

TEST_F(ResourceBindingTest, UnknownSession) {
    void* const unknown = WordOf(4711);
    EXPECT_EQ(
        MessagesOf([&] {
            EXPECT_EQ(proxy_.ActiveResource(unknown, 2), LEXO_ERR_SESSION_INVALID);
            EXPECT_EQ(proxy_.ActivePreloadResource(unknown, "city"), LEXO_ERR_SESSION_INVALID);
            EXPECT_EQ(proxy_.DeactiveResource(unknown), LEXO_ERR_SESSION_INVALID);
        }),
        (Messages{kSessionNotFound, "Engine freetalk doesn't need resource.", kSessionNotFound}));
    EXPECT_EQ(References(2), 0);
}

// What can only happen when the engine list changes under a session.
TEST_F(ResourceBindingTest, ReleasesThatFail) {
    Do('2');
    Engine().engine_type = static_cast<Lexo_EngineType>(4);
    for (const char step : {'3', 'n', '-'}) {
        EXPECT_EQ(Do(step), LEXO_ERR_NOT_SUPPORT);
        EXPECT_EQ(messages_, Messages{"Engine doesn't need resource."});
    }
    Engine().engine_type = LEXO_ENGINE_GRAMMAR;
    EXPECT_EQ(References(2), 1);
    EXPECT_EQ(References(3), 1) << "taken before the release failed";

    std::map<std::string, EngineInfo> engines;
    engines.swap(Access::Engines());
    for (const char step : {'3', 'n', '-'}) {
        EXPECT_EQ(Do(step), LEXO_ERR_CAPABILITY_NOT_EXIST);
        EXPECT_EQ(messages_[0], "Engine[asr.cloud.grammar] not found.");
    }
    engines.swap(Access::Engines());

    auto two = Engine().res_map.extract(2);
    EXPECT_EQ(Do('3'), LEXO_ERR_ACTIVE_RESOURCE_FAILED);
    EXPECT_EQ(messages_, Messages{"Resource [2] not found."});
    EXPECT_EQ(Do('n'), LEXO_ERR_ACTIVE_RESOURCE_FAILED);
    EXPECT_EQ(Do('-'), LEXO_ERR_DEACTIVE_RESOURCE_FAILED);
    EXPECT_EQ(messages_, Messages{"Resource [2] not found."});
    Engine().res_map.insert(std::move(two));
    EXPECT_EQ(Do('-'), LEXO_ERR_NONE);
    EXPECT_EQ(References(2), 0);
}

}  // namespace
