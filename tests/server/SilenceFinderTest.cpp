#include <gtest/gtest.h>

#include "SilenceFinder.h"

namespace orvx::test {
namespace {

std::string Show(const std::vector<Silence>& silences) {
    std::string text;
    for (const Silence& silence : silences) {
        text += std::to_string(silence.start_ms) + "-" + std::to_string(silence.end_ms) + " ";
    }
    return text;
}

TEST(SilenceFinderTest, SilenceIsWhereNobodySpeaks) {
    SilenceFinder finder;
    finder.AddSpeech(5000, 6000);
    finder.AddSpeech(1000, 3000);
    finder.AddSpeech(2000, 2500);
    finder.AddSpeech(3100, 4000);
    EXPECT_EQ(Show(finder.Take(900)), "") << "the first stretch may still get company";
    EXPECT_EQ(Show(finder.Take(4500)), "0-1000 ") << "a breath at 3000 is no silence";
    EXPECT_EQ(Show(finder.Take(5001)), "4000-5000 ");
    EXPECT_EQ(Show(finder.Take(99999)), "");
    EXPECT_EQ(Show(finder.Finish(6199)), "");
    EXPECT_EQ(Show(finder.Finish(7000)), "6199-7000 ");
}

TEST(SilenceFinderTest, TheEndTellsWhatIsLeft) {
    SilenceFinder finder;
    finder.AddSpeech(300, 500);
    finder.AddSpeech(900, 1000);
    EXPECT_EQ(Show(finder.Finish(1300)), "0-300 500-900 1000-1300 ");
    EXPECT_EQ(Show(SilenceFinder().Finish(200)), "0-200 ");
}

}  // namespace
}  // namespace orvx::test
