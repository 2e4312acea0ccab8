// Where the system refuses something: to the probe of Init, to the reading of resource files, and
// to the machine identifier, which is tried on machines with every kind of interface, too.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include "CapturedOutput.h"
#include "FreshProcess.h"
#include "MessagesOf.h"
#include "OrvexProxy.h"
#include "ResourceFile.h"
#include "ScriptedServer.h"
#include "SystemFaults.h"
#include "TestHome.h"
#include "proxy_uuid.h"
#include "test_connection_state.h"

namespace {

TEST(ProbeFaultsTest, FailedCalls) {
    const scripted::ScriptedServer server;
    const struct {
        SystemFaults faults;
        int result;
        const char* out;
        const char* err;
    } cases[] = {
        {{.socket_error = EMFILE},
         kProbeWithoutSocket,
         "",
         "create socket fail.\n: Too many open files\n"},
        {{.get_flags_error = EPERM}, -1, "", "get socket flags fail.\n: Operation not permitted\n"},
        {{.set_flags_error = EPERM},
         -1,
         "",
         "set socket O_NONBLOCK fail.\n: Operation not permitted\n"},
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

void InitWithoutSocket() {
    const scripted::TestHome home;
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
        {{.file_end = 0}, LEXO_ERR_LOAD_RESOURCE_FAILED},
        {{.read_error = EIO, .longest_read = 10}, LEXO_ERR_LOAD_RESOURCE_FAILED},
        {{.read_error = EINTR, .longest_read = 7}, LEXO_ERR_NONE},
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

const std::string kCpu(15, '0');
const std::string kZero = "00-00-00-00-00-00";

const FakeInterface kLoopback = {"lo", {{0, 0, 0, 0, 0, 0}}};
const FakeInterface kCardA = {"eth0", {{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}}};
const FakeInterface kCardB = {"eth1", {{0xFF, 0x80, 0x07, 0x00, 0xA0, 0x0F}}};
const FakeInterface kMute = {"tun0", std::nullopt};
const std::string kTextA = "00-1a-2b-3c-4d-5e";
const std::string kTextB = "ff-80-07-00-a0-0f";

// The loopback interface `count` times under names of its own, then one card.
std::vector<FakeInterface> LoopbacksAndCard(int count) {
    std::vector<FakeInterface> interfaces;
    for (int i = 0; i < count; ++i) {
        interfaces.push_back({"lo:" + std::to_string(i), kLoopback.address});
    }
    interfaces.push_back(kCardA);
    return interfaces;
}

TEST(MachineIdentityTest, LastAddressThatIsNotZero) {
    const struct {
        std::vector<FakeInterface> interfaces;
        std::string address;
    } cases[] = {
        {{}, ""},
        {{kMute}, ""},
        {{kLoopback}, kZero},
        {{kMute, kLoopback}, kZero},
        {{kLoopback, kMute}, kZero},
        {{kLoopback, kCardA}, kTextA},
        {{kCardA, kLoopback}, kTextA},
        {{kCardA, kMute}, kTextA},
        {{kLoopback, kCardA, kCardB}, kTextB},
        // No more than 16 are seen.
        {LoopbacksAndCard(15), kTextA},
        {LoopbacksAndCard(16), kZero},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        const FaultScope faults({.interfaces = cases[i].interfaces});
        std::string text = "before";
        EXPECT_TRUE(get_uuid(text));
        EXPECT_EQ(text, cases[i].address + kCpu);
    }
}

TEST(MachineIdentityTest, UnreadableInterfacesLeaveTheTextAlone) {
    for (const SystemFaults& broken :
         {SystemFaults{.socket_error = EMFILE}, SystemFaults{.interface_list_error = EPERM}}) {
        const FaultScope faults(broken);
        std::string text = "before";
        EXPECT_FALSE(get_uuid(text));
        EXPECT_EQ(text, "before");
    }
}

}  // namespace
