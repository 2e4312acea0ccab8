// Where the system refuses something: to the probe of Init, to the reading of resource files, and
// to the machine identifier, which is tried on machines with every kind of interface, too.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>

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
