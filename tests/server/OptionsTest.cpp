#include <gtest/gtest.h>

#include "Options.h"

namespace orvx::test {
namespace {

ParsedOptions Parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "orvx-server");
    return ParseOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(OptionsTest, HasUsableDefaults) {
    const auto parsed = Parse({});
    ASSERT_TRUE(parsed.options);
    const Options& options = *parsed.options;
    EXPECT_EQ(options.listen.address().to_string(), "127.0.0.1");
    EXPECT_EQ(options.listen.port(), 8800);
    EXPECT_GE(options.service.decoders, 1U);
    EXPECT_EQ(options.connection.max_frame_bytes, kMaxFrameBodyBytes);
    EXPECT_EQ(options.service.utterance_idle_timeout, std::chrono::seconds(30));
}

TEST(OptionsTest, ReadsWhatItIsTold) {
    const auto parsed = Parse({"--listen", "[::1]:0", "--workers=3", "--read-timeout", "0.25",
                               "--model-dir", "/m", "--dictionary", "/d", "--max-utterances", "9"});
    ASSERT_TRUE(parsed.options);
    EXPECT_TRUE(parsed.options->listen.address().is_v6());
    EXPECT_EQ(parsed.options->service.decoders, 3U);
    EXPECT_EQ(parsed.options->connection.read_timeout, std::chrono::milliseconds(250));
    EXPECT_EQ(parsed.options->model.language_model, "/m/en-us.lm.bin");
    EXPECT_EQ(parsed.options->model.dictionary, "/d");
    EXPECT_EQ(parsed.options->service.max_utterances, 9U);
}

TEST(OptionsTest, RefusesWhatItDoesNotUnderstand) {
    const std::vector<std::vector<const char*>> wrong = {{"--listen", "localhost"},
                                                         {"--listen", "127.0.0.1:99999"},
                                                         {"--listen", "1.2.3:80"},
                                                         {"--listen", "[::1:80"},
                                                         {"--listen"},
                                                         {"--workers", "0"},
                                                         {"--workers", "many"},
                                                         {"--read-timeout", "-1"},
                                                         {"--nbest", "0"},
                                                         {"--log-config", "/no/x"},
                                                         {"--no-such-option"},
                                                         {"stray"},
                                                         {"--max-frame-bytes", "0"},
                                                         {"--drain-timeout", "nan"},
                                                         {"--workers", "1.5"}};
    for (const auto& arguments : wrong) {
        const auto parsed = Parse(arguments);
        EXPECT_FALSE(parsed.options) << arguments[0];
        EXPECT_EQ(parsed.exit_status, 2) << arguments[0];
    }
}

TEST(OptionsTest, HelpAndVersionEndWell) {
    for (const char* const option : {"--help", "--version"}) {
        const auto parsed = Parse({option});
        EXPECT_FALSE(parsed.options);
        EXPECT_EQ(parsed.exit_status, 0);
    }
}

}  // namespace
}  // namespace orvx::test
