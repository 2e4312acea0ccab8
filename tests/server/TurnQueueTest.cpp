// Who has the next turn.
#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <memory>
#include <string>

#include "TurnQueue.h"

namespace orvx::test {
namespace {

class TurnQueueTest : public testing::Test {
  protected:
    void TearDown() override { queue_.Close(); }
    void Wait(int turns_had, char name, bool yields = false) {
        const auto begin = [this, name](const TurnQueue::Permit& permit) {
            begun_ += name;
            under_way_.push_back(permit);
        };
        queue_.Wait({turns_had, std::make_shared<const std::atomic<bool>>(yields), begin});
    }

    std::string begun_;
    TurnQueue queue_{2};
    std::deque<TurnQueue::Permit> under_way_;
};

TEST_F(TurnQueueTest, GoesToWhoHadTheFewestAndToWhoHasWaitedLongest) {
    const std::pair<int, char> waiting[] = {{9, 'a'}, {0, 'b'}, {5, 'c'}, {1, 'd'},
                                            {5, 'e'}, {0, 'f'}, {1, 'g'}};
    for (const auto& [turns_had, name] : waiting) Wait(turns_had, name);
    EXPECT_EQ(begun_, "ab") << "two at a time";
    while (!under_way_.empty()) under_way_.pop_front();
    EXPECT_EQ(begun_, "abfcdeg") << "every fourth by their number, the others by their age";
    Wait(7, 'h');
    Wait(7, 'i');
    Wait(7, 'j');
    EXPECT_EQ(begun_, "abfcdeghi") << "those that ended are free again";
    Wait(0, 'y', /*yields=*/true);
    Wait(9, 'k');
    while (!under_way_.empty()) under_way_.pop_front();
    EXPECT_EQ(begun_, "abfcdeghijky");
}

TEST_F(TurnQueueTest, ACrowdOfNewOnesKeepsNobodyFromIt) {
    for (int i = 0; i < 10; ++i) Wait(0, '-');
    Wait(99, 'x');
    for (int i = 0; i < 30; ++i) {
        Wait(0, '-');
        under_way_.pop_front();
    }
    EXPECT_LT(begun_.find('x'), 20U) << begun_;
}

TEST_F(TurnQueueTest, NoneBeginsOnceItIsClosed) {
    const auto held = std::make_shared<int>();
    for (int i = 0; i < 3; ++i) Wait(i, 'a');
    queue_.Wait({0, std::make_shared<const std::atomic<bool>>(false),
                 [held](const TurnQueue::Permit&) { ADD_FAILURE() << "begun"; }});
    queue_.Close();
    EXPECT_EQ(held.use_count(), 1) << "what waits is dropped";
    Wait(0, 'b');
    under_way_.clear();
    EXPECT_EQ(begun_, "aa");
}

}  // namespace
}  // namespace orvx::test
