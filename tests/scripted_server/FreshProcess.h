// Running a case in a process that has never used the library.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace scripted {

// While it lives, temporary folders are made inside one that it removes: a process that is killed
// leaves its home behind for whoever started it. Processes started meanwhile take part.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

  private:
    const std::filesystem::path parent_;
    const std::filesystem::path path_;
};

}  // namespace scripted

// As EXPECT_EXIT and EXPECT_DEATH, safe while the test runs servers of its own: in gtest's
// thread-safe style the new process executes this test program again up to this point, and nothing
// is inherited from a forked process that has threads. Whatever stands before it in the test, the
// fixture's SetUp included, runs in the new process too and must leave the library alone.
#define EXPECT_FRESH_EXIT(statement, predicate, pattern)        \
    do {                                                        \
        const scripted::ScratchFolder scratch_folder;           \
        ::testing::FLAGS_gtest_death_test_style = "threadsafe"; \
        EXPECT_EXIT(statement, predicate, pattern);             \
    } while (false)

// Passes when the statement returns in the new process and no expectation failed in it.
#define IN_FRESH_PROCESS(statement)                                                 \
    EXPECT_FRESH_EXIT(                                                              \
        {                                                                           \
            statement;                                                              \
            std::exit(::testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS); \
        },                                                                          \
        ::testing::ExitedWithCode(EXIT_SUCCESS), "")
