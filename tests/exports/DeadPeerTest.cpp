// A server behind a network that begins to drop every packet. The host's network namespace and the
// server's are joined by a pair of virtual interfaces; when the server's end loses its address,
// nothing that is sent is answered any more, and neither end is told.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>

#include "TestHost.h"

namespace {

using namespace scripted;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr const char* kFarIp = "10.77.0.2";

// Puts this process into a network of its own, with a second one behind it. A base class: the
// host's own server must start within.
class TwoNetworks {
  protected:
    TwoNetworks() {
        if (::unshare(CLONE_NEWNET) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return;
        std::thread([this] {
            if (::unshare(CLONE_NEWNET) == 0)
                far_ = ::open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC);
        }).join();
        const std::string mac = "02:00:00:00:00:02";
        const std::string far = "/proc/" + std::to_string(::getpid()) + "/fd/";
        are_joined_ = Ip("link set lo up") &&
                      Ip("link add v0 type veth peer name v1 address " + mac + " netns " + far +
                         std::to_string(far_)) &&
                      Ip("address add 10.77.0.1/24 dev v0") && Ip("link set v0 up") &&
                      Ip(std::string("neighbour replace ") + kFarIp + " lladdr " + mac +
                         " dev v0 nud permanent");
        OnFarSide([this] { are_joined_ = are_joined_ && Ip("link set v1 up"); });
        Carry(true);
    }
    ~TwoNetworks() { ::close(far_); }

    static bool Ip(const std::string& command) {
        return std::system(("ip " + command + " >/dev/null 2>&1").c_str()) == 0;
    }
    // Threads and sockets that the function makes stay on the far side, too.
    void OnFarSide(const std::function<void()>& function) {
        std::thread([&] {
            if (::setns(far_, CLONE_NEWNET) == 0) function();
        }).join();
    }
    // Whether packets arrive.
    void Carry(bool on) {
        OnFarSide([&] {
            are_joined_ =
                Ip(std::string("address ") + (on ? "add " : "del ") + kFarIp + "/24 dev v1") &&
                are_joined_;
        });
    }

    int far_ = -1;
    bool are_joined_ = false;
};

struct Stream : Session {
    Stream() : Session("freetalk") { SetNumber(LEXO_PARAM_STREAM, 1); }
};

class DeadPeerTest : protected TwoNetworks, public HostTest {
  protected:
    // Opens an utterance in each session, each on a connection of its own to that server.
    template <typename Sessions>
    static void OpenUtterances(Sessions& sessions, ScriptedServer& server) {
        std::promise<void> gate;
        server.Otherwise(Sequence({WaitFor(gate.get_future().share()), Answer()}));
        std::deque<std::future<Outcome>> calls;
        for (Session& session : sessions)
            calls.push_back(std::async(std::launch::async, [&] { return session.Recognize(); }));
        EXPECT_TRUE(server.WaitForRequests(sessions.size()));
        gate.set_value();
        for (auto& call : calls) EXPECT_EQ(call.get(), kGood);
    }

    void SetUp() override {
        if (!are_joined_) GTEST_SKIP() << "no network namespaces for this user, or no iproute2";
        HostTest::SetUp();
        OnFarSide([this] { far_server_.emplace(kFarIp); });
    }
    std::optional<ScriptedServer> far_server_;
};

TEST_F(DeadPeerTest, IsGivenUpInTime) {
    Stream unread, healthy, awaiting, idle, sending, resting;
    EXPECT_EQ(healthy.Recognize(), kGood);
    ScriptedServer deaf("127.0.0.2");  // alive, but takes no more than one request
    deaf.Otherwise(Sequence({Answer(), Pause(1min)}));
    ASSERT_EQ(InitProxy(deaf.Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(unread.Recognize(), kGood);
    ASSERT_EQ(InitProxy(far_server_->Address()).code, LEXO_ERR_NONE);
    std::deque<std::reference_wrapper<Session>> far = {awaiting, idle, sending, resting};
    OpenUtterances(far, *far_server_);
    const std::string nowhere = kFarIp + std::string(":9");
    InitProxy(nowhere);  // refused: nobody listens there
    Session unconnected("freetalk");
    Logged();

    struct Victim {
        const char* name;
        Session& session;
        std::size_t bytes;
        std::string address;
        int status;
        std::chrono::seconds earliest, latest;
        std::future<Outcome> outcome = {};
        steady_clock::duration time = {};
    } victims[] = {
        {"the answer awaited", awaiting, 5, far_server_->Address(), -1, 20s, 35s},
        {"idle in the pool", idle, 5, far_server_->Address(), -1, 20s, 35s},
        {"the request on its way", sending, 32 << 20, far_server_->Address(), 3, 20s, 35s},
        {"the request left unread", unread, 32 << 20, deaf.Address(), 3, 20s, 35s},
        {"no connection yet", unconnected, 5, nowhere, 4, 4s, 10s},
    };
    far_server_->Otherwise(StaySilent());
    for (Victim& one : victims) {
        one.outcome = std::async(std::launch::async, [&one] {
            const auto start = steady_clock::now();
            const Outcome outcome = one.session.Recognize(std::string(one.bytes, 'a'));
            one.time = steady_clock::now() - start;
            return outcome;
        });
        if (&one != victims) continue;
        ASSERT_TRUE(far_server_->WaitForRequests(far.size() + 1));
        std::this_thread::sleep_for(200ms);  // so that the request was acknowledged, too
        Carry(false);
    }
    EXPECT_EQ(healthy.Recognize(), kGood) << "whoever has a living server does not notice";
    Lines expected;
    for (Victim& one : victims) {
        SCOPED_TRACE(one.name);
        EXPECT_EQ(one.outcome.get(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
        EXPECT_GT(one.time, one.earliest);
        EXPECT_LT(one.time, one.latest);
        RecordProperty(one.name, static_cast<int>(one.time / 1ms));
        expected.push_back("Network Error: Recog request to [" + one.address + "] faield(" +
                           std::to_string(one.status) + ")");
    }
    EXPECT_THAT(Logged(), ::testing::UnorderedElementsAreArray(expected));

    Carry(true);
    far_server_->Otherwise(Answer());
    ASSERT_EQ(InitProxy(far_server_->Address()).code, LEXO_ERR_NONE);
    EXPECT_EQ(resting.Recognize(), kGood);
    EXPECT_GT(far_server_->LastRequest().connection, static_cast<int>(far.size()))
        << "its old connection was known to be dead";
    EXPECT_EQ(far_server_->LastRequest().inner.chunk_no(), 2);
    for (const Victim& one : victims) {
        EXPECT_EQ(one.session.Recognize(), kGood) << one.name;
        EXPECT_NE(far_server_->LastRequest().inner.chunk_no(), 2) << "its utterance is lost";
    }
}

// With nobody listening, the system may give the server's port to the very socket that connects to
// it: it would read its own request as the answer, and keep the port from the server.
TEST_F(DeadPeerTest, ThePortOfADeadServerIsNotTaken) {
    InitProxy("127.0.0.1:40000");
    std::ofstream("/proc/sys/net/ipv4/ip_local_port_range") << "40000 40000";
    Session session("freetalk");
    Logged();
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_NETWORK_FAILED, 1}));
    EXPECT_EQ(Logged(), Lines{"Network Error: Recog request to [127.0.0.1:40000] faield(4)"});
    const int server = ::socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = {AF_INET, htons(40000), {INADDR_ANY}, {}};
    EXPECT_EQ(::bind(server, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(server);
}

}  // namespace
