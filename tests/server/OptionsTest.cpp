#include <gtest/gtest.h>

#include "Options.h"

namespace orvx::test {
namespace {

ParsedOptions Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "orvx-server");
    return ParseOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(OptionsTest, ReadsWhatItIsToldAndHasUsableDefaults) {
    const auto parsed = Parse({"--listen", "[::1]:0", "--workers=3", "--read-timeout", "0.25",
                               "--model-dir", "/m", "--dictionary", "/d", "--resource-dir", "/"});
    ASSERT_TRUE(parsed.options);
    EXPECT_TRUE(parsed.options->listen.address().is_v6());
    EXPECT_EQ(parsed.options->service.decoders, 3U);
    EXPECT_EQ(parsed.options->connection.read_timeout, std::chrono::milliseconds(250));
    EXPECT_EQ(parsed.options->model.language_model, "/m/en-us.lm.bin");
    EXPECT_EQ(parsed.options->model.dictionary, "/d");
    EXPECT_EQ(parsed.options->service.resource_dir, "/");
    EXPECT_EQ(parsed.options->connection.max_frame_bytes, kMaxFrameBodyBytes);
    EXPECT_GE(Parse({}).options->service.decoders, 1U);
}

TEST(OptionsTest, RefusesWhatItDoesNotUnderstand) {
    const std::vector<const char*> wrong[] = {{"--listen", "localhost"},
                                              {"--listen", "127.0.0.1:99999"},
                                              {"--listen", "[::1:80"},
                                              {"--workers", "0"},
                                              {"--workers", "1.5"},
                                              {"--drain-timeout", "nan"},
                                              {"--max-received-bytes", "65535"},
                                              {"--resource-dir", "/etc/passwd"},
                                              {"--resource-dir", ""},
                                              {"--log-config", "/no/x"},
                                              {"stray"}};
    for (const auto& arguments : wrong) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(Parse(arguments).exit_status, 2) << arguments[0];
        EXPECT_EQ(testing::internal::GetCapturedStderr().find("orvx-server: "), 0U);
    }
    EXPECT_EQ(Parse({"--help"}).exit_status, 0);
    EXPECT_FALSE(Parse({"--version"}).options);
}

}  // namespace
}  // namespace orvx::test
