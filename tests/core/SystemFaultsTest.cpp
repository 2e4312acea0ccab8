// Where the system refuses something: to the probe of Init, to the reading of resource files, and
// to the machine identifier, which is tried on machines with every kind of interface, too. The
// calls are replaced for the whole program; where no fault is asked for, they do what they do.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <poll.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "BoundSocket.h"
#include "CapturedOutput.h"
#include "FileDescriptor.h"
#include "Footprint.h"
#include "FreshProcess.h"
#include "MessagesOf.h"
#include "OrvexProxy.h"
#include "Reactions.h"
#include "ResourceFile.h"
#include "ScriptedServer.h"
#include "TcpClientUser.h"
#include "TestHome.h"
#include "proxy_uuid.h"
#include "test_connection_state.h"

namespace {

struct SystemFaults {
    // The call fails with this error number; 0 leaves it alone.
    int socket_error = 0;
    int get_flags_error = 0;       // fcntl F_GETFL
    int set_flags_error = 0;       // fcntl F_SETFL
    int socket_option_error = 0;   // getsockopt
    int set_option_error = 0;      // setsockopt
    int poll_error = 0;            // the next poll
    int interface_list_error = 0;  // ioctl SIOCGIFCONF
    int open_error = 0;            // the next open
    int read_error = 0;            // every second read
    bool is_own_peer = false;      // connect starts at the address that it goes to
    bool is_cancelled = false;     // the thread, when open has opened

    // Network interfaces instead of the machine's, a character each: '0' has an address of zeros,
    // '-' none to tell, any other one 00-ff-07-80-00-XX with its code.
    const char* interfaces = nullptr;
    std::size_t file_end = SIZE_MAX;      // reading from a file ends after so many bytes
    std::size_t longest_read = SIZE_MAX;  // bytes that one read gives at most
};

SystemFaults g_faults;

// Faults last until the end of their scope.
struct FaultScope {
    explicit FaultScope(const SystemFaults& faults) { g_faults = faults; }
    ~FaultScope() { g_faults = {}; }
    FaultScope(const FaultScope&) = delete;
    FaultScope& operator=(const FaultScope&) = delete;
};

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

int connect(int fd, const sockaddr* address, socklen_t length) {
    const bool is_bound = !g_faults.is_own_peer || ::bind(fd, address, length) == 0;
    return FailOrCall(is_bound ? 0 : errno, SYS_connect, fd, address, length);
}

int getsockopt(int fd, int level, int name, void* value, socklen_t* length) noexcept {
    return FailOrCall(g_faults.socket_option_error, SYS_getsockopt, fd, level, name, value, length);
}

int setsockopt(int fd, int level, int name, const void* value, socklen_t length) noexcept {
    return FailOrCall(g_faults.set_option_error, SYS_setsockopt, fd, level, name, value, length);
}

int poll(pollfd* entries, nfds_t count, int timeout) {
    return FailOrCall(std::exchange(g_faults.poll_error, 0), SYS_poll, entries, count, timeout);
}

int open(const char* path, int flags, ...) {
    va_list args;
    va_start(args, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(args, int) : 0;
    va_end(args);
    const int fd = FailOrCall(std::exchange(g_faults.open_error, 0), SYS_open, path, flags, mode);
    if (g_faults.is_cancelled) {
        ::pthread_cancel(::pthread_self());
        ::pthread_testcancel();
    }
    return fd;
}

ssize_t read(int fd, void* bytes, std::size_t count) {
    const int error = ++g_reads % 2 == 1 ? g_faults.read_error : 0;
    count = std::min({count, g_faults.longest_read, g_faults.file_end});
    const ssize_t received = FailOrCall(error, SYS_read, fd, bytes, count);
    g_faults.file_end -= static_cast<std::size_t>(std::max<ssize_t>(received, 0));
    return received;
}

}  // extern "C"

namespace {

TEST(ProbeFaultsTest, FailedCalls) {
    const scripted::ScriptedServer server;
    const std::string refused = ": Operation not permitted\n";
    const struct {
        SystemFaults faults;
        int result;
        std::string out, err;
    } cases[] = {
        {{.socket_error = EPERM}, kProbeWithoutSocket, "", "create socket fail.\n" + refused},
        {{.get_flags_error = EPERM}, -1, "", "get socket flags fail.\n" + refused},
        {{.set_flags_error = EPERM}, -1, "", "set socket O_NONBLOCK fail.\n" + refused},
        {{.socket_option_error = ENOBUFS}, -1, "getsockopt error.\n", ""},
        // A failed wait tells nothing, so both directions are looked at.
        {{.poll_error = EINTR},
         0,
         "in fire. connect error, errno = 0\nout fire. connect error, errno = 0\n",
         ""},
    };
    for (const auto& c : cases) {
        const scripted::CapturedOutput out(stdout);
        const scripted::CapturedOutput err(stderr);
        int result = 0;
        {
            const FaultScope faults(c.faults);
            result = test_connection_state("127.0.0.1", server.Port());
        }
        EXPECT_EQ(result, c.result) << c.err;
        EXPECT_EQ(out.Text(), c.out);
        EXPECT_EQ(err.Text(), c.err);
    }
}

// A port of the range for clients that nobody uses.
int FreePort() {
    return PortOf(FileDescriptor(BoundSocket()).Get());
}

// The third finds the port as free as the first.
TEST(ProbeFaultsTest, ASocketThatMeetsItselfIsNoServer) {
    const int port = FreePort();
    for (int i = 0; i < 3; ++i) {
        int result = 0;
        const FaultScope faults({.is_own_peer = true});
        {
            const scripted::CapturedOutput out(stdout);
            result = test_connection_state("127.0.0.1", port);
        }
        EXPECT_EQ(result, ECONNREFUSED);
        TcpClientUser client("127.0.0.1", static_cast<unsigned int>(port));
        EXPECT_EQ(client.SendRequestAndRecvMessage(1000), kTcpErrorConnect);
    }
}

void InitWithoutSocket() {
    static const scripted::TestHome home;  // removed when the process ends
    std::atexit([] {
        void* session = nullptr;
        OrvexProxy::GetInstance()->SessionStart("freetalk", &session);
    });
    const FaultScope faults({.socket_error = EMFILE});
    OrvexProxy::GetInstance()->Init("127.0.0.1:80");
}

// The whole process ends then, in good order: what the host does at exit may call the engine.
TEST(ProbeFaultsDeathTest, InitWithoutSocketEndsTheProcess) {
    EXPECT_FRESH_EXIT(InitWithoutSocket(), ::testing::ExitedWithCode(0),
                      "create socket fail.\n: Too many open files");
}

TEST(ResourceFaultsTest, FilesThatEndEarlyBreakOrComeInPieces) {
    const scripted::TestHome home;
    const std::string content(1000, 'c');
    const std::string path = home.WriteFile("words", content);
    const Messages failed = {"Read resource file [" + path + "] failed."};
    const struct {
        SystemFaults faults;
        Lexo_ErrCode code;
    } cases[] = {
        {{.file_end = 999}, LEXO_ERR_LOAD_RESOURCE_FAILED},
        {{.open_error = EINTR, .read_error = EINTR, .longest_read = 7}, LEXO_ERR_NONE},
    };
    for (const auto& c : cases) {
        ResourceBytes bytes;
        Lexo_ErrCode code = LEXO_ERR_UNKNOWN;
        const Messages messages = MessagesOf([&] {
            const FaultScope faults(c.faults);
            code = bytes.Obtain(LEXO_RESOURCE_FILE, path.c_str(), 0);
        });
        const bool is_read = c.code == LEXO_ERR_NONE;
        EXPECT_EQ(code, c.code);
        EXPECT_EQ(messages, is_read ? Messages{} : failed);
        ASSERT_EQ(bytes.length, is_read ? 1000 : 0);
        ASSERT_EQ(bytes.data != nullptr, is_read);
        if (is_read) {
            EXPECT_EQ(std::string(bytes.data.get(), 1001), content + '\0');
        }
    }
}

TEST(ResourceFaultsTest, AThreadCancelledWhileItOpensAFileLeavesNoneOpen) {
    const scripted::TestHome home;
    static const std::string path = home.WriteFile("words", "words");
    const scripted::Footprint footprint;
    const auto read = [](void*) -> void* {
        ResourceBytes bytes;
        const FaultScope faults({.is_cancelled = true});
        bytes.Obtain(LEXO_RESOURCE_FILE, path.c_str(), 0);
        return nullptr;
    };
    pthread_t thread;
    ASSERT_EQ(::pthread_create(&thread, nullptr, read, nullptr), 0);
    EXPECT_EQ(::pthread_join(thread, nullptr), 0);
}

TEST(ClientSystemFaultsTest, TheTimeOutHoldsWithoutSocketOptions) {
    scripted::ScriptedServer server;
    server.Then(scripted::StaySilent());
    TcpClientUser client("127.0.0.1", static_cast<unsigned int>(server.Port()));
    const FaultScope faults({.set_option_error = EPERM});
    EXPECT_EQ(client.SendRequestAndRecvMessage(1100), kTcpErrorTimeOut);
}

const std::string kCpu(15, '0');

TEST(MachineIdentityTest, LastAddressThatIsNotZero) {
    const std::string a = "00-ff-07-80-00-41", b = "00-ff-07-80-00-42", zero = "00-00-00-00-00-00";
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"-0", zero},
        {"0-", zero},
        {"0A", a},
        {"A0", a},
        {"A-", a},
        {"0AB", b},
        // No more than 16 are seen.
        {std::string(15, '0') + "A", a},
        {std::string(16, '0') + "A", zero},
    };
    for (const auto& [interfaces, address] : cases) {
        const FaultScope faults({.interfaces = interfaces.c_str()});
        std::string text = "before";
        EXPECT_TRUE(get_uuid(text));
        EXPECT_EQ(text, address + kCpu) << interfaces;
    }
    const FaultScope faults({.interface_list_error = EPERM});
    std::string text = "before";
    EXPECT_FALSE(get_uuid(text));
    EXPECT_EQ(text, "before");
}

}  // namespace
