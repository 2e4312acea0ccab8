// A result record that releases what hangs from it, like a session's.
#pragma once

#include "Lexo.h"
#include "RecogResult.h"

struct TestResult : Lexo_RecogResult {
    TestResult() : Lexo_RecogResult{} {}
    ~TestResult() { ReleaseResult(this); }
    TestResult(const TestResult&) = delete;
    TestResult& operator=(const TestResult&) = delete;
};
