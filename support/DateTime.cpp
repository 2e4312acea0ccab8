#include "DateTime.h"

namespace {

// Without printf and strftime, which would take as long as all the rest of a request's identity.
void Append(const char* separator, long number, std::size_t width, std::string* text) {
    const std::string digits = std::to_string(number);
    text->append(separator);
    if (digits.size() < width) text->append(width - digits.size(), '0');
    text->append(digits);
}

}  // namespace

MutexLock DateTime::local_time_lock_;

DateTime DateTime::now() {
    std::timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return DateTime(now.tv_sec, static_cast<int>(now.tv_nsec / 1'000'000));
}

std::string DateTime::ToString(bool with_milliseconds) const {
    std::tm local{};
    {
        const MutexGuard guard(local_time_lock_);
        localtime_r(&seconds_, &local);
    }
    std::string text;
    text.reserve(sizeof "YYYY-MM-DDThh:mm:ss.mmm");
    Append("", local.tm_year + 1900L, 4, &text);
    Append("-", local.tm_mon + 1, 2, &text);
    Append("-", local.tm_mday, 2, &text);
    Append("T", local.tm_hour, 2, &text);
    Append(":", local.tm_min, 2, &text);
    Append(":", local.tm_sec, 2, &text);
    if (with_milliseconds) Append(".", milliseconds_, 3, &text);
    return text;
}
