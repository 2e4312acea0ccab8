// Resource files that cannot be read to their end.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "MessagesOf.h"
#include "ResourceFile.h"
#include "SystemFaults.h"
#include "TestHome.h"

namespace {

class ResourceFaultsTest : public ::testing::Test {
  protected:
    Lexo_ErrCode Obtain(const SystemFaults& faults) {
        Lexo_ErrCode code = LEXO_ERR_NONE;
        messages_ = MessagesOf([&] {
            const FaultScope scope(faults);
            code = bytes_.Obtain(LEXO_RESOURCE_FILE, path_.c_str(), 0);
        });
        return code;
    }

    const scripted::TestHome home_;
    const std::string content_ = std::string(1000, 'c');
    const std::string path_ = home_.WriteFile("words", content_);
    ResourceBytes bytes_;
    Messages messages_;
};

TEST_F(ResourceFaultsTest, FileThatEndsEarlyOrBreaks) {
    for (const SystemFaults& faults : {SystemFaults{.file_end = 999}, SystemFaults{.file_end = 0},
                                       SystemFaults{.read_error = EIO, .longest_read = 10}}) {
        EXPECT_EQ(Obtain(faults), LEXO_ERR_LOAD_RESOURCE_FAILED);
        EXPECT_EQ(messages_, Messages{"Read resource file [" + path_ + "] failed."});
        EXPECT_EQ(bytes_.data, nullptr);
        EXPECT_EQ(bytes_.length, 0);
    }
}

TEST_F(ResourceFaultsTest, PiecesAndInterruptions) {
    EXPECT_EQ(Obtain({.read_error = EINTR, .longest_read = 7}), LEXO_ERR_NONE);
    EXPECT_EQ(messages_, Messages{});
    ASSERT_EQ(bytes_.length, 1000);
    EXPECT_EQ(std::string(bytes_.data.get(), 1001), content_ + '\0');
}

}  // namespace
