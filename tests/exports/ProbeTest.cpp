// Init's probe of the server: what it prints and how long it takes.
#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "FreshProcess.h"
#include "TestHost.h"

namespace {

class ProbeTest : public ::testing::Test {
  protected:
    void TearDown() override { EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE); }

    // Init's outcome, its line about the log settings left out.
    InitOutcome Probe(const std::string& address) {
        InitOutcome init = InitProxy(address);
        const std::string head = "conf_file=" + home_.LogSettingsPath() + "\n";
        EXPECT_EQ(init.out.substr(0, head.size()), head);
        init.out.erase(0, head.size());
        return init;
    }

    scripted::TestHome home_;
    scripted::ScriptedServer server_;
};

TEST_F(ProbeTest, AServerThatAccepts) {
    const InitOutcome init = Probe(server_.Address());
    EXPECT_EQ(init.code, LEXO_ERR_NONE);
    EXPECT_EQ(init.out, "out fire. connect error, errno = 0\n");
    EXPECT_EQ(init.err, "");
    EXPECT_TRUE(server_.WaitForOpenConnections(0)) << "the probe hangs up";
    EXPECT_EQ(server_.RequestCount(), 0u) << "and sends nothing";
}

TEST_F(ProbeTest, AServerThatRefuses) {
    server_.Stop();
    const InitOutcome init = Probe(server_.Address());
    EXPECT_EQ(init.code, LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(init.out,
              "in fire. connect error, errno = 111\n"
              "out fire. connect error, errno = 0\n")
        << "asking for the error clears it";
    EXPECT_EQ(init.err, "");
}

TEST_F(ProbeTest, AnAddressThatCannotBe) {
    const InitOutcome init = Probe("not.an.address:1");
    EXPECT_EQ(init.code, LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(init.out, "");
    EXPECT_EQ(init.err.rfind("connect remote server fail.\n", 0), 0u) << init.err;
}

// A listener whose queue is full: the system drops further attempts without an answer.
class DeafListener {
  public:
    DeafListener() {
        sockets_.push_back(NewSocket());
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        ::bind(sockets_[0], reinterpret_cast<sockaddr*>(&address), length);
        ::listen(sockets_[0], 0);
        ::getsockname(sockets_[0], reinterpret_cast<sockaddr*>(&address), &length);
        port_ = ntohs(address.sin_port);
        for (int i = 0; i < 4; ++i) {
            sockets_.push_back(NewSocket());
            ::connect(sockets_.back(), reinterpret_cast<sockaddr*>(&address), length);
        }
    }
    ~DeafListener() {
        for (const int one : sockets_) {
            ::close(one);
        }
    }
    DeafListener(const DeafListener&) = delete;
    DeafListener& operator=(const DeafListener&) = delete;

    int Port() const { return port_; }

  private:
    static int NewSocket() {
        return ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    }

    std::vector<int> sockets_;
    int port_ = 0;
};

TEST_F(ProbeTest, AServerThatDoesNotAnswerIsGivenThreeTenthsOfASecond) {
    const DeafListener deaf;
    const auto start = std::chrono::steady_clock::now();
    const InitOutcome init = Probe("127.0.0.1:" + std::to_string(deaf.Port()));
    const auto time = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(init.code, LEXO_ERR_PARAM_INVALID);
    EXPECT_EQ(init.out, "");
    EXPECT_EQ(init.err, "select timeout.\n: Connection timed out\n");
    EXPECT_GE(time, std::chrono::milliseconds(290));
    EXPECT_LT(time, std::chrono::milliseconds(2000));
}

// From here on no socket can be made in this process. False when the system does not allow that.
bool ForbidSockets() {
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_socket, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EMFILE),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {sizeof(steps) / sizeof(steps[0]), steps};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

void InitWithoutSockets() {
    const scripted::TestHome home;
    if (!ForbidSockets()) {
        std::fputs("filter refused\n", stderr);
        std::_Exit(0);
    }
    orvx_proxy_Init("127.0.0.1:1");
    std::_Exit(77);  // Init came back
}

TEST(ProbeDeathTest, WithoutASocketTheProcessEnds) {
    EXPECT_FRESH_EXIT(InitWithoutSockets(), ::testing::ExitedWithCode(0),
                      "create socket fail\\.\n: Too many open files|filter refused");
}

}  // namespace
