// Logs that a function is entered and left.
#pragma once

#include "Logger.h"

// Lives on the stack for the whole call. Writes two messages of the debug level with the file and
// line given here; nothing before the logger is started or while that level is off, when it costs
// one load and one comparison. The texts are borrowed until destruction.
class FuncTracer {
  public:
    FuncTracer(const char* function, const char* file, int line)
        : function_(g_logger.IsTracing() ? function : nullptr), file_(file), line_(line) {
        if (function_ != nullptr) Trace("Enter");
    }
    ~FuncTracer() {
        if (function_ != nullptr) Trace("Leave");
    }
    FuncTracer(const FuncTracer&) = delete;
    FuncTracer& operator=(const FuncTracer&) = delete;

  private:
    void Trace(const char* what) const noexcept;

    const char* const function_;  // null: the entry was not logged, so the exit is not either
    const char* const file_;
    const int line_;
};
