// The probe of Init where the system refuses it something.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "CapturedOutput.h"
#include "FreshProcess.h"
#include "OrvexProxy.h"
#include "ScriptedServer.h"
#include "SystemFaults.h"
#include "TestHome.h"
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

TEST(ProbeFaultsTest, NoSocket) {
    const scripted::CapturedOutput err(stderr);
    const FaultScope faults({.socket_error = EMFILE});
    EXPECT_EQ(test_connection_state("127.0.0.1", 80), kProbeWithoutSocket);
    EXPECT_EQ(err.Text(), "create socket fail.\n: Too many open files\n");
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

}  // namespace
