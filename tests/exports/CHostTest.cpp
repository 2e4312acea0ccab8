// The host that is written in C, in its own process, against a server scripted here.
#include <cstdlib>
#include <string>
#include <vector>

#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

TEST(CHostTest, WalksThroughTheWholeInterface) {
    const scripted::TestHome home;
    scripted::ScriptedServer server;
    const scripted::FrameMaker result = scripted::EchoResult(scripted::FreetalkResult(1, 2, 3));
    server.Otherwise(scripted::Answer([result](const scripted::Request& request) {
        return request.inner.chunk_no() == -1 ? result(request) : scripted::Echo()(request);
    }));
    EXPECT_EQ(std::system((ORVX_C_HOST " " + server.Address()).c_str()), 0);
    std::vector<int> chunks;
    for (const auto& request : server.Requests()) {
        chunks.push_back(request.inner.chunk_no());
    }
    EXPECT_EQ(chunks, (std::vector<int>{-1, 1, 2, 3, -4}));
    EXPECT_EQ(server.LastRequest().access.property(), "english_8k_common,need_nlu=no");
}

}  // namespace
