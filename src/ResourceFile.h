// The bytes of a resource, copied from the host's buffer or read from a file.
#pragma once

#include <memory>

#include "Lexo.h"

struct ResourceBytes {
    std::unique_ptr<char[]> data;  // of a file with a 0 byte behind the last one
    int length = 0;

    // Fills both from the file at path `source`, or from `source_length` bytes at `source`. A
    // resource type that is neither gives no bytes. Failures are logged.
    Lexo_ErrCode Obtain(Lexo_ResourceType type, const char* source, int source_length);

  private:
    Lexo_ErrCode CopyBuffer(const char* source, int source_length);
    Lexo_ErrCode ReadFile(const char* path);
};
