#include <gtest/gtest.h>
#include <stdlib.h>

#include <ctime>
#include <iterator>
#include <string>

#include "DateTime.h"

namespace {

class ZoneScope {
  public:
    explicit ZoneScope(const char* zone) {
        if (const char* former = getenv("TZ")) former_ = former;
        Set(zone);
    }
    ~ZoneScope() { Set(former_.c_str()); }

  private:
    static void Set(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
    std::string former_;
};

TEST(DateTimeTest, WritesLocalTime) {
    const struct {
        const char* zone;
        std::time_t seconds;
        int milliseconds;
        const char* text;
    } cases[] = {{"UTC0", 0, 0, "1970-01-01T00:00:00.000"},
                 {"UTC0", 1709210096, 7, "2024-02-29T12:34:56.007"},
                 {"CST-8", 1709210096, 70, "2024-02-29T20:34:56.070"},
                 {"EST5", 1704067199, 999, "2023-12-31T18:59:59.999"},
                 {"UTC0", -1, 0, "1969-12-31T23:59:59.000"}};
    for (const auto& c : cases) {
        const ZoneScope zone(c.zone);
        const DateTime time(c.seconds, c.milliseconds);
        EXPECT_EQ(time.ToString(true), c.text);
        EXPECT_EQ(time.ToString(false), std::string(c.text, 19));
    }
}

TEST(DateTimeTest, NowIsBetweenTwoReadingsOfTheClock) {
    const ZoneScope zone("UTC0");
    // time() lags behind the precise clock by up to a tick, hence a second of slack on both sides.
    const DateTime before(std::time(nullptr) - 1, 0);
    const std::string now = DateTime::now().ToString(true);
    const DateTime after(std::time(nullptr) + 1, 999);
    EXPECT_LE(before.ToString(true), now);
    EXPECT_LE(now, after.ToString(true));
    EXPECT_EQ(now.size(), std::size("YYYY-MM-DDThh:mm:ss.mmm") - 1);
}

}  // namespace
