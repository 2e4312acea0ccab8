// System calls that tests can make fail, and network interfaces that they can invent. The calls are
// replaced for the whole program; where no fault is asked for, they do what they always do.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

struct FakeInterface {
    std::string name;
    std::optional<std::array<unsigned char, 6>> address;  // none: the query fails
};

struct SystemFaults {
    // The call fails with this error number; 0 leaves it alone.
    int socket_error = 0;
    int get_flags_error = 0;      // fcntl F_GETFL
    int set_flags_error = 0;      // fcntl F_SETFL
    int socket_option_error = 0;  // getsockopt
    int poll_error = 0;
    int interface_list_error = 0;  // ioctl SIOCGIFCONF
    int read_error = 0;            // every second read

    std::optional<std::vector<FakeInterface>> interfaces = std::nullopt;  // none: the machine's
    std::optional<std::size_t> file_end =
        std::nullopt;              // reading from a file ends after so many bytes
    std::size_t longest_read = 0;  // bytes that one read gives at most; 0: any number
};

extern SystemFaults g_faults;

// Faults last until the end of their scope.
class FaultScope {
  public:
    explicit FaultScope(SystemFaults faults) { g_faults = std::move(faults); }
    ~FaultScope() { g_faults = {}; }
    FaultScope(const FaultScope&) = delete;
    FaultScope& operator=(const FaultScope&) = delete;
};
