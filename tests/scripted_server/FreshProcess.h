// Running a case in a process that has never used the library.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>

// Runs the statement in a new process that executes this test program again up to this point;
// passes when the statement returns and no expectation failed in it. Whatever stands before it in
// the test, the fixture's SetUp included, runs in the new process too and must leave the library
// alone. gtest's own death tests do the work: in their thread-safe style nothing is inherited from
// a forked process that has threads.
#define IN_FRESH_PROCESS(statement)                                                     \
    do {                                                                                \
        ::testing::FLAGS_gtest_death_test_style = "threadsafe";                         \
        EXPECT_EXIT(                                                                    \
            {                                                                           \
                statement;                                                              \
                std::exit(::testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS); \
            },                                                                          \
            ::testing::ExitedWithCode(EXIT_SUCCESS), "");                               \
    } while (false)

// As EXPECT_EXIT and EXPECT_DEATH, safe while the test runs servers of its own.
#define EXPECT_FRESH_EXIT(statement, predicate, pattern)        \
    do {                                                        \
        ::testing::FLAGS_gtest_death_test_style = "threadsafe"; \
        EXPECT_EXIT(statement, predicate, pattern);             \
    } while (false)
