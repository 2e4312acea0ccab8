// A point of time as text.
#pragma once

#include <ctime>
#include <string>

#include "MutexLock.h"

class DateTime {
  public:
    // Seconds since 1970-01-01 UTC, and milliseconds (0..999) beyond them.
    DateTime(std::time_t seconds, int milliseconds)
        : seconds_(seconds), milliseconds_(milliseconds) {}

    static DateTime now();

    // Local time as "YYYY-MM-DDThh:mm:ss", followed by ".mmm" if asked for.
    std::string ToString(bool with_milliseconds) const;

    // Held while local time is asked for: the C library then holds a lock of its own, which a child
    // that was forked meanwhile would find taken for ever.
    static MutexLock& LocalTimeLock() { return local_time_lock_; }

  private:
    static MutexLock local_time_lock_;

    std::time_t seconds_;
    int milliseconds_;
};
