// Running a case in a process that has never used the library.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

// As EXPECT_EXIT and EXPECT_DEATH, safe while the test runs servers of its own: in gtest's
// thread-safe style the new process executes this test program again up to this point, and nothing
// is inherited from a forked process that has threads. Whatever stands before it in the test, the
// fixture's SetUp included, runs in the new process too and must leave the library alone.
#define EXPECT_FRESH_EXIT(statement, predicate, pattern)        \
    do {                                                        \
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
