#include "FuncTracer.h"

void FuncTracer::Trace(const char* what) const noexcept {
    g_logger.Write(kLogDebug, file_, line_, "%s %s", what, function_);
}
