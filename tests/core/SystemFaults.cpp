#include "SystemFaults.h"

#include <fcntl.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <string>

SystemFaults g_faults;

namespace {

int g_reads = 0;

// Fails with `error`, or makes the call if that is 0.
template <typename... Arguments>
int FailOrCall(int error, long call, Arguments... arguments) {
    if (error != 0) {
        errno = error;
        return -1;
    }
    return static_cast<int>(::syscall(call, arguments...));
}

// Each interface is named by its place.
int ListInterfaces(ifconf* list) {
    const std::size_t room = static_cast<std::size_t>(list->ifc_len) / sizeof(ifreq);
    const std::size_t count = std::min(room, std::strlen(g_faults.interfaces));
    for (std::size_t i = 0; i < count; ++i) {
        list->ifc_req[i] = {};
        std::strcpy(list->ifc_req[i].ifr_name, std::to_string(i).c_str());
    }
    list->ifc_len = static_cast<int>(count * sizeof(ifreq));
    return 0;
}

// A failed query may have written something, too.
int TellAddress(ifreq* request) {
    const char kind = g_faults.interfaces[std::stoul(request->ifr_name)];
    const char address[] = {0, '\xFF', 7, '\x80', 0, kind};
    const char zeros[sizeof address] = {};
    std::memcpy(request->ifr_hwaddr.sa_data, kind == '0' ? zeros : address, sizeof address);
    return kind == '-' ? -1 : 0;
}

}  // namespace

extern "C" {

int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list args;
    va_start(args, request);
    void* const argument = va_arg(args, void*);
    va_end(args);
    const bool is_list = request == SIOCGIFCONF;
    if (g_faults.interfaces != nullptr && (is_list || request == SIOCGIFHWADDR)) {
        return is_list ? ListInterfaces(static_cast<ifconf*>(argument))
                       : TellAddress(static_cast<ifreq*>(argument));
    }
    return FailOrCall(is_list ? g_faults.interface_list_error : 0, SYS_ioctl, fd, request,
                      argument);
}

int fcntl(int fd, int command, ...) {
    va_list args;
    va_start(args, command);
    void* const argument = va_arg(args, void*);
    va_end(args);
    const int error = command == F_GETFL   ? g_faults.get_flags_error
                      : command == F_SETFL ? g_faults.set_flags_error
                                           : 0;
    return FailOrCall(error, SYS_fcntl, fd, command, argument);
}

int socket(int domain, int type, int protocol) noexcept {
    return FailOrCall(g_faults.socket_error, SYS_socket, domain, type, protocol);
}

int getsockopt(int fd, int level, int name, void* value, socklen_t* length) noexcept {
    return FailOrCall(g_faults.socket_option_error, SYS_getsockopt, fd, level, name, value, length);
}

int poll(pollfd* entries, nfds_t count, int timeout) {
    return FailOrCall(g_faults.poll_error, SYS_poll, entries, count, timeout);
}

ssize_t read(int fd, void* bytes, std::size_t count) {
    const int error = ++g_reads % 2 == 1 ? g_faults.read_error : 0;
    count = std::min({count, g_faults.longest_read, g_faults.file_end});
    const ssize_t received = FailOrCall(error, SYS_read, fd, bytes, count);
    g_faults.file_end -= static_cast<std::size_t>(std::max<ssize_t>(received, 0));
    return received;
}

}  // extern "C"
