// Where a resource's bytes come from: buffers, and files of every kind.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>

#include "MessagesOf.h"
#include "ResourceFile.h"
#include "TestHome.h"

namespace {

struct Outcome {
    Lexo_ErrCode code;
    Messages messages;
    ResourceBytes bytes;
};

Outcome Obtain(Lexo_ResourceType type, const char* source, int length) {
    Outcome outcome{};
    outcome.messages =
        MessagesOf([&] { outcome.code = outcome.bytes.Obtain(type, source, length); });
    return outcome;
}

Outcome ObtainFile(const std::string& path) {
    return Obtain(LEXO_RESOURCE_FILE, path.c_str(), -5);  // the length is not read
}

class ResourceFileTest : public ::testing::Test {
  protected:
    void ExpectFailure(const std::string& path, Lexo_ErrCode code, const std::string& message) {
        const Outcome outcome = ObtainFile(path);
        EXPECT_EQ(outcome.code, code);
        EXPECT_EQ(outcome.messages, Messages{message});
        EXPECT_EQ(outcome.bytes.data, nullptr);
        EXPECT_EQ(outcome.bytes.length, 0);
    }

    const scripted::TestHome home_;
};

TEST_F(ResourceFileTest, BytesWithATerminatorBehindThem) {
    for (const std::size_t length : {1u, 3u, 4096u, 1000000u}) {
        std::string content(length, '\0');
        for (std::size_t i = 0; i < length; ++i) {
            content[i] = static_cast<char>(i * 7);
        }
        const Outcome outcome = ObtainFile(home_.WriteFile("words", content));
        EXPECT_EQ(outcome.code, LEXO_ERR_NONE);
        EXPECT_EQ(outcome.messages, Messages{});
        ASSERT_EQ(outcome.bytes.length, static_cast<int>(length));
        EXPECT_EQ(std::memcmp(outcome.bytes.data.get(), content.c_str(), length + 1), 0);
    }
}

TEST_F(ResourceFileTest, PathsWithoutAFile) {
    for (const std::string& path : {home_.Path(), home_.Path() + "/none", std::string(),
                                    home_.SettingsPath() + "/below", std::string(5000, 'p')}) {
        ExpectFailure(path, LEXO_ERR_OPENFILE, "File [" + path + "] not exists or is a directory.");
    }
    EXPECT_EQ(Obtain(LEXO_RESOURCE_FILE, nullptr, 0).code, LEXO_ERR_OPENFILE);
}

// A socket's file is there, and nobody may open it.
TEST_F(ResourceFileTest, FileThatDoesNotOpen) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = home_.Path() + "/socket";
    ASSERT_LT(path.size(), sizeof address.sun_path);
    std::strcpy(address.sun_path, path.c_str());
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ExpectFailure(path, LEXO_ERR_OPENFILE, "Open resource file [" + path + "] failed.");
    ::close(socket);
}

TEST_F(ResourceFileTest, FileWithoutPermission) {
    const std::string path = home_.WriteFile("secret", "words");
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    ASSERT_EQ(::chmod(home_.Path().c_str(), 0755), 0);
    // Permissions mean nothing to the superuser.
    const uid_t user = ::geteuid();
    ASSERT_TRUE(user != 0 || ::seteuid(65534) == 0);
    ExpectFailure(path, LEXO_ERR_OPENFILE, "Open resource file [" + path + "] failed.");
    ASSERT_EQ(::seteuid(user), 0);
}

TEST_F(ResourceFileTest, EmptyFile) {
    const std::string path = home_.WriteFile("empty", "");
    ExpectFailure(path, LEXO_ERR_LOAD_RESOURCE_FAILED, "Resource file [" + path + "] is empty.");
}

// Opening it in the usual way would wait for a writer that never comes.
TEST_F(ResourceFileTest, FifoDoesNotBlock) {
    const std::string path = home_.Path() + "/fifo";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    ExpectFailure(path, LEXO_ERR_LOAD_RESOURCE_FAILED, "Read resource file [" + path + "] failed.");
}

TEST_F(ResourceFileTest, SizeThatFitsNoInt) {
    const std::string path = home_.WriteFile("large", "x");
    std::filesystem::resize_file(path, std::uintmax_t{5} << 30);  // all of it a hole
    const Outcome outcome = ObtainFile(path);
    EXPECT_EQ(outcome.code, LEXO_ERR_MEMORY);
    ASSERT_EQ(outcome.messages.size(), 1u);
    EXPECT_TRUE(outcome.messages[0].starts_with("Allocate memory failed(len="));
    EXPECT_EQ(outcome.bytes.data, nullptr);
}

TEST(ResourceBufferTest, BytesAreCopied) {
    char source[] = {'a', '\0', '\xFF', 'b'};
    const Outcome outcome = Obtain(LEXO_RESOURCE_BUFFER, source, 3);
    std::memset(source, 'z', sizeof source);
    EXPECT_EQ(outcome.code, LEXO_ERR_NONE);
    ASSERT_EQ(outcome.bytes.length, 3);
    EXPECT_EQ(std::string(outcome.bytes.data.get(), 3), std::string("a\0\xFF", 3));
}

TEST(ResourceBufferTest, LengthsThatAreNone) {
    for (const char* source : {static_cast<const char*>(nullptr), "words"}) {
        const Outcome empty = Obtain(LEXO_RESOURCE_BUFFER, source, 0);
        EXPECT_EQ(empty.code, LEXO_ERR_NONE);
        EXPECT_EQ(empty.messages, Messages{});
        EXPECT_EQ(empty.bytes.length, 0);
        for (const int length : {-1, INT_MIN}) {
            const Outcome negative = Obtain(LEXO_RESOURCE_BUFFER, source, length);
            EXPECT_EQ(negative.code, LEXO_ERR_MEMORY);
            EXPECT_EQ(negative.messages,
                      Messages{"Allocate memory failed(len=" + std::to_string(length) + ")"});
        }
    }
    EXPECT_EQ(Obtain(LEXO_RESOURCE_BUFFER, nullptr, 5).code, LEXO_ERR_PARAM_INVALID);
}

TEST(ResourceBufferTest, KindThatIsNeitherFileNorBuffer) {
    for (const int type : {2, -1}) {
        const Outcome outcome = Obtain(static_cast<Lexo_ResourceType>(type), "words", 5);
        EXPECT_EQ(outcome.code, LEXO_ERR_NONE);
        EXPECT_EQ(outcome.bytes.data, nullptr);
        EXPECT_EQ(outcome.bytes.length, 0);
    }
}

}  // namespace
