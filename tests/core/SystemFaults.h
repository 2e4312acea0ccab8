// System calls that tests can make fail, and network interfaces that they can invent. The calls are
// replaced for the whole program; where no fault is asked for, they do what they always do.
#pragma once

#include <cstddef>
#include <cstdint>

struct SystemFaults {
    // The call fails with this error number; 0 leaves it alone.
    int socket_error = 0;
    int get_flags_error = 0;      // fcntl F_GETFL
    int set_flags_error = 0;      // fcntl F_SETFL
    int socket_option_error = 0;  // getsockopt
    int poll_error = 0;
    int interface_list_error = 0;  // ioctl SIOCGIFCONF
    int read_error = 0;            // every second read

    // Network interfaces instead of the machine's, a character each: '0' has an address of zeros,
    // '-' none to tell, any other one 00-ff-07-80-00-XX with its code.
    const char* interfaces = nullptr;
    std::size_t file_end = SIZE_MAX;      // reading from a file ends after so many bytes
    std::size_t longest_read = SIZE_MAX;  // bytes that one read gives at most
};

extern SystemFaults g_faults;

// Faults last until the end of their scope.
struct FaultScope {
    explicit FaultScope(const SystemFaults& faults) { g_faults = faults; }
    ~FaultScope() { g_faults = {}; }
    FaultScope(const FaultScope&) = delete;
    FaultScope& operator=(const FaultScope&) = delete;
};
