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

SystemFaults g_faults;

namespace {

int g_reads = 0;

int Fail(int error) {
    errno = error;
    return -1;
}

int ListInterfaces(ifconf* list) {
    const std::size_t room = static_cast<std::size_t>(list->ifc_len) / sizeof(ifreq);
    const std::size_t count = std::min(room, g_faults.interfaces->size());
    for (std::size_t i = 0; i < count; ++i) {
        list->ifc_req[i] = {};
        std::strncpy(list->ifc_req[i].ifr_name, (*g_faults.interfaces)[i].name.c_str(),
                     IFNAMSIZ - 1);
    }
    list->ifc_len = static_cast<int>(count * sizeof(ifreq));
    return 0;
}

int TellAddress(ifreq* request) {
    for (const FakeInterface& interface : *g_faults.interfaces) {
        if (interface.name == request->ifr_name && interface.address) {
            std::memcpy(request->ifr_hwaddr.sa_data, interface.address->data(), 6);
            return 0;
        }
    }
    // A failed query may have written something.
    std::memset(request->ifr_hwaddr.sa_data, 0xEE, 6);
    return Fail(ENODEV);
}

}  // namespace

extern "C" {

int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list args;
    va_start(args, request);
    void* const argument = va_arg(args, void*);
    va_end(args);
    if (request == SIOCGIFCONF && g_faults.interface_list_error != 0) {
        return Fail(g_faults.interface_list_error);
    }
    if (request == SIOCGIFCONF && g_faults.interfaces) {
        return ListInterfaces(static_cast<ifconf*>(argument));
    }
    if (request == SIOCGIFHWADDR && g_faults.interfaces) {
        return TellAddress(static_cast<ifreq*>(argument));
    }
    return static_cast<int>(::syscall(SYS_ioctl, fd, request, argument));
}

int fcntl(int fd, int command, ...) {
    va_list args;
    va_start(args, command);
    void* const argument = va_arg(args, void*);
    va_end(args);
    const int error = command == F_GETFL   ? g_faults.get_flags_error
                      : command == F_SETFL ? g_faults.set_flags_error
                                           : 0;
    return error != 0 ? Fail(error) : static_cast<int>(::syscall(SYS_fcntl, fd, command, argument));
}

int socket(int domain, int type, int protocol) noexcept {
    return g_faults.socket_error != 0
               ? Fail(g_faults.socket_error)
               : static_cast<int>(::syscall(SYS_socket, domain, type, protocol));
}

int getsockopt(int fd, int level, int name, void* value, socklen_t* length) noexcept {
    return g_faults.socket_option_error != 0
               ? Fail(g_faults.socket_option_error)
               : static_cast<int>(::syscall(SYS_getsockopt, fd, level, name, value, length));
}

int poll(pollfd* entries, nfds_t count, int timeout) {
    return g_faults.poll_error != 0
               ? Fail(g_faults.poll_error)
               : static_cast<int>(::syscall(SYS_poll, entries, count, timeout));
}

ssize_t read(int fd, void* bytes, std::size_t count) {
    if (g_faults.read_error != 0 && ++g_reads % 2 == 1) {
        return Fail(g_faults.read_error);
    }
    if (g_faults.longest_read != 0) {
        count = std::min(count, g_faults.longest_read);
    }
    if (g_faults.file_end) {
        count = std::min(count, *g_faults.file_end);
    }
    const ssize_t received = ::syscall(SYS_read, fd, bytes, count);
    if (g_faults.file_end && received > 0) {
        *g_faults.file_end -= static_cast<std::size_t>(received);
    }
    return received;
}

}  // extern "C"
