// What this process holds, to tell whether something was left behind.
#pragma once

#include <gtest/gtest.h>
#include <malloc.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

namespace scripted {

// What is allocated. Sanitizers have an allocator of their own: they see leaks, and this sees
// nothing.
inline std::size_t BytesInUse() {
    const auto info = ::mallinfo2();
    return info.uordblks + info.hblkhd;
}

// Fails the test at its end if there are more descriptors or threads than at its start, or clearly
// more memory. The log's file, which stays open, is not counted.
class Footprint {
  public:
    Footprint() = default;
    ~Footprint() {
        EXPECT_EQ(Descriptors(), descriptors_);
        // A thread that was joined may still be listed for a moment.
        for (int i = 0; i < 1000 && Threads() > threads_; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_LE(Threads(), threads_);
        EXPECT_LT(BytesInUse(), bytes_ + kUnrestBytes);
    }
    Footprint(const Footprint&) = delete;
    Footprint& operator=(const Footprint&) = delete;

  private:
    using Entries = std::filesystem::directory_iterator;
    static constexpr std::size_t kUnrestBytes = std::size_t{1} << 20;  // of first uses, of logs

    static int Descriptors() {
        int count = 0;
        for (const auto& entry : Entries("/proc/self/fd")) {
            std::error_code gone;
            const std::string target = std::filesystem::read_symlink(entry.path(), gone);
            count += target.find(".log") == std::string::npos ? 1 : 0;
        }
        return count;
    }
    // Beside a program's first thread the thread sanitizer starts one of its own.
    static long ThreadsAtStart() {
        std::thread([] {}).join();
        return Threads();
    }
    static long Threads() { return std::distance(Entries("/proc/self/task"), Entries()); }

    const int descriptors_ = Descriptors();
    const long threads_ = ThreadsAtStart();
    const std::size_t bytes_ = BytesInUse();
};

}  // namespace scripted
