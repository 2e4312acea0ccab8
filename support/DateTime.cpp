#include "DateTime.h"

#include <cstdio>

DateTime DateTime::now() {
    std::timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return DateTime(now.tv_sec, static_cast<int>(now.tv_nsec / 1'000'000));
}

std::string DateTime::ToString(bool with_milliseconds) const {
    std::tm local{};
    localtime_r(&seconds_, &local);
    char text[64];
    std::string result(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local));
    if (with_milliseconds) {
        std::snprintf(text, sizeof text, ".%03d", milliseconds_);
        result += text;
    }
    return result;
}
