// The host that is written in C, in its own process, against a server scripted here.
#include <cstdlib>
#include <string>

#include "ResultBuilders.h"
#include "TestHost.h"

namespace {

class CHostTest : public BareHostTest {};

TEST_F(CHostTest, WorksWithAServer) {
    server_.Then(scripted::Answer(scripted::EchoResult(scripted::FreetalkResult(1, 2, 3))));
    EXPECT_EQ(std::system((ORVX_C_HOST " " + server_.Address()).c_str()), 0);
    EXPECT_EQ(ChunkNumbers(), (std::vector<int>{-1, 1, -2}));
    EXPECT_EQ(server_.LastRequest().access.property(), "english_8k_common,need_nlu=no");
}

}  // namespace
