#include <gtest/gtest.h>

#include <set>

#include "UtteranceStore.h"

namespace orvx::test {
namespace {

using std::chrono::seconds;

class UtteranceStoreTest : public testing::Test {
  protected:
    using Store = UtteranceStore<int>;

    // The token of a new entry that nobody uses.
    std::string Add(int number) { return store_.Add(std::make_shared<int>(number)).Token(); }
    Store::Clock::time_point now_{};
    Store store_{3, seconds(30), [this] { return now_; }};
};

TEST_F(UtteranceStoreTest, KeepsSoManyUntilTheyAreRemoved) {
    const std::string token = Add(1);
    Add(2);
    Add(3);
    EXPECT_FALSE(store_.Add(std::make_shared<int>(4)));
    const auto use = store_.Find(token);
    ASSERT_TRUE(use);
    EXPECT_FALSE(store_.Find(token + "0"));
    EXPECT_TRUE(store_.Remove(token));
    EXPECT_FALSE(store_.Remove(token));
    EXPECT_FALSE(store_.Find(token));
    EXPECT_EQ(*use.operator->(), 1) << "whoever works on it may finish";
    EXPECT_TRUE(store_.Add(std::make_shared<int>(4)));
}

TEST_F(UtteranceStoreTest, GivesUpWhatIsIdle) {
    const std::string first = Add(1);
    const std::string second = Add(2);
    now_ += seconds(29);
    EXPECT_TRUE(store_.Find(second)) << "which counts anew";
    EXPECT_TRUE(store_.TakeExpired().empty());
    now_ += seconds(1);
    EXPECT_FALSE(store_.Find(first)) << "expired, though not taken out yet";
    const auto expired = store_.TakeExpired();
    ASSERT_EQ(expired.size(), 1U);
    EXPECT_EQ(*expired[0], 1);
    {
        const auto use = store_.Find(second);
        now_ += seconds(1000);
        EXPECT_TRUE(store_.TakeExpired().empty()) << "somebody uses it";
    }
    now_ += seconds(29);
    EXPECT_EQ(store_.Size(), 1U);
    EXPECT_TRUE(store_.Find(second)) << "idle since the use ended";
}

TEST(ResultTokenTest, IsHexadecimalAndNeverTheSame) {
    std::set<std::string> tokens;
    for (int i = 0; i < 1000; ++i) tokens.insert(MakeResultToken());
    EXPECT_EQ(tokens.size(), 1000U);
    EXPECT_EQ(tokens.begin()->size(), 32U);
    EXPECT_EQ(tokens.begin()->find_first_not_of("0123456789abcdef"), std::string::npos);
}

}  // namespace
}  // namespace orvx::test
