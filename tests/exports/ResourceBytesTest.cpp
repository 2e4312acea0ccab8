// Where a resource's bytes come from: buffers, and files of every kind and size.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "TestHost.h"

namespace {

using scripted::Connection;

class ResourceBytesTest : public HostTest {
  protected:
    // The bytes as the server gets them; unloads the resource.
    std::string SentBytes(const Loaded& loaded) {
        EXPECT_EQ(loaded.code, LEXO_ERR_NONE);
        Session session("grammar");
        EXPECT_EQ(session.Bind(loaded.id), LEXO_ERR_NONE);
        const auto inner = Sent(session).inner;
        EXPECT_EQ(inner.resource_data_len(), static_cast<int>(inner.resource_data().size()));
        EXPECT_EQ(session.Release(), LEXO_ERR_NONE);
        EXPECT_EQ(orvx_proxy_UnloadResource("grammar", loaded.id), LEXO_ERR_NONE);
        return inner.resource_data();
    }

    Loaded Load(int type, const char* source, int bytes) {
        return ::Load("grammar", type, source, bytes, LEXO_RESOURCE_GRAMMAR_ABNF);
    }
    // The length does not count.
    Loaded LoadFile(const std::string& path) { return Load(LEXO_RESOURCE_FILE, path.c_str(), -5); }
};

TEST_F(ResourceBytesTest, ArriveAsTheyAre) {
    for (const std::size_t bytes : {1u, 3u, 4096u, 1000000u}) {
        std::string content(bytes, '\0');
        for (std::size_t i = 0; i < bytes; ++i) content[i] = static_cast<char>(i * 7);
        EXPECT_TRUE(SentBytes(LoadFile(home_.WriteFile("words", content))) == content);
        std::string buffer = content;
        const Loaded loaded = LoadBuffer("grammar", LEXO_RESOURCE_GRAMMAR_ABNF, buffer);
        buffer.assign(bytes, 'z');
        EXPECT_TRUE(SentBytes(loaded) == content) << "a buffer is copied";
    }
}

TEST_F(ResourceBytesTest, FilesThatDoNotLoad) {
    const std::string home = home_.Path();
    const std::string empty = home_.WriteFile("empty", "");
    ASSERT_EQ(::mkfifo((home + "/fifo").c_str(), 0644), 0);
    ASSERT_EQ(::chmod(home_.WriteFile("secret", "words").c_str(), 0), 0);
    // Permissions mean nothing to the superuser.
    const uid_t user = ::geteuid();
    ASSERT_EQ(::chmod(home.c_str(), 0755), 0);
    ASSERT_TRUE(user != 0 || ::seteuid(65534) == 0);

    const struct {
        std::string path;
        int code;
        const char *before, *behind;  // the path in the log
    } cases[] = {
        {home, LEXO_ERR_OPENFILE, "File [", "] not exists or is a directory."},
        {home + "/none", LEXO_ERR_OPENFILE, "File [", "] not exists or is a directory."},
        {"", LEXO_ERR_OPENFILE, "File [", "] not exists or is a directory."},
        {home_.SettingsPath() + "/x", LEXO_ERR_OPENFILE, "File [",
         "] not exists or is a directory."},
        {home + "/secret", LEXO_ERR_OPENFILE, "Open resource file [", "] failed."},
        {empty, LEXO_ERR_LOAD_RESOURCE_FAILED, "Resource file [", "] is empty."},
        {home + "/fifo", LEXO_ERR_LOAD_RESOURCE_FAILED, "Read resource file [", "] failed."},
    };
    for (const auto& one : cases) {
        const Loaded loaded = LoadFile(one.path);
        EXPECT_EQ(loaded.code, one.code);
        EXPECT_EQ(loaded.id, 0u);
        EXPECT_EQ(Logged(), Lines{one.before + one.path + one.behind});
    }
    ASSERT_EQ(::seteuid(user), 0);
}

TEST_F(ResourceBytesTest, Lengths) {
    for (const char* source : {static_cast<const char*>(nullptr), "words"}) {
        EXPECT_EQ(Load(LEXO_RESOURCE_BUFFER, source, 0).code, LEXO_ERR_NONE);
        for (const int bytes : {-1, INT_MIN}) {
            Logged();
            EXPECT_EQ(Load(LEXO_RESOURCE_BUFFER, source, bytes).code, LEXO_ERR_MEMORY);
            EXPECT_EQ(Logged(), Lines{"Allocate memory failed(len=" + std::to_string(bytes) + ")"});
        }
    }
    EXPECT_EQ(Load(LEXO_RESOURCE_BUFFER, nullptr, 5).code, LEXO_ERR_PARAM_INVALID);
    const std::string large = home_.WriteFile("large", "x");
    std::filesystem::resize_file(large, std::uintmax_t{5} << 30);  // all of it a hole
    EXPECT_EQ(LoadFile(large).code, LEXO_ERR_MEMORY);
    EXPECT_THAT(Logged().at(0), ::testing::StartsWith("Allocate memory failed(len="));
    Session session("grammar");
    for (const int type : {2, -1}) {  // neither a file nor a buffer
        const Loaded loaded = Load(type, "words", 5);
        EXPECT_EQ(loaded.code, LEXO_ERR_NONE);
        EXPECT_EQ(session.Bind(loaded.id), LEXO_ERR_PARAM_INVALID) << "there is nothing in it";
    }
    InitProxy(server_.Address());  // forgets them
}

constexpr std::size_t kLargeBytes = std::size_t{200} << 20;

// What the large file holds from `from` on: numbered words, so that no piece looks like another.
std::string LargeContent(std::size_t from, std::size_t bytes) {
    std::string content;
    for (std::uint64_t word = from / 8; content.size() < bytes + from % 8; ++word) {
        const std::uint64_t mixed = (word + 1) * 0x9E3779B97F4A7C15;
        content.append(reinterpret_cast<const char*>(&mixed), sizeof mixed);
    }
    return content.substr(from % 8, bytes);
}

// Takes a request that is larger than the resource and keeps nothing of it. Returns how many of the
// resource's bytes came as they are in the file, one behind the other.
std::size_t TakeLargeRequest(Connection& connection) {
    std::string area(1 << 20, '\0');
    std::size_t right = 0;
    for (std::size_t got = 0, more = 1; got <= kLargeBytes && more > 0; got += more) {
        more = connection.Receive(area);
        const std::size_t start = right > 0 ? 0 : area.find(LargeContent(0, 64));
        if (start > more) continue;  // before the resource
        const std::size_t length = std::min(more - start, kLargeBytes - right);
        if (area.compare(start, length, LargeContent(right, length)) != 0) return right;
        right += length;
    }
    return right;
}

// The memory that the process occupies, in MiB; 0 where a sanitizer's share would blur it.
double ResidentMib() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return 0;
#else
    long pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;
    return static_cast<double>(pages * ::sysconf(_SC_PAGESIZE)) / (1 << 20);
#endif
}

TEST_F(ResourceBytesTest, ALargeFileIsHeldOnceAndLeavesNothingBehind) {
    const std::string path = home_.WriteFile("large", "");
    std::ofstream file(path, std::ios::binary);
    for (std::size_t at = 0; at < kLargeBytes; at += 1 << 20) file << LargeContent(at, 1 << 20);
    ASSERT_TRUE(file.flush());
    const double before = ResidentMib();
    const double one = before > 0 ? kLargeBytes >> 20 : 0;
    const Loaded loaded = LoadFile(path);
    ASSERT_EQ(loaded.code, LEXO_ERR_NONE);
    EXPECT_NEAR(ResidentMib() - before, one, 20) << "the one copy";
    Session session("grammar");
    ASSERT_EQ(session.Bind(loaded.id), LEXO_ERR_NONE);
    std::atomic<std::size_t> right{0};
    server_.OnConnect([&](Connection& connection) {
        right = TakeLargeRequest(connection);
        connection.Send(scripted::LengthPrefix(0));
    });
    EXPECT_EQ(session.Recognize(), (Outcome{LEXO_ERR_ENGINE_FAILED, 1})) << "it was sent";
    EXPECT_EQ(right, kLargeBytes) << "all of it, and as it is";
    EXPECT_EQ(session.Release(), LEXO_ERR_NONE);
    EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_ACTIVE_SESSION_EXIST) << "but the connections are gone";
    EXPECT_NEAR(ResidentMib() - before, one, 20) << "nothing of the request stays";
    EXPECT_EQ(orvx_proxy_UnloadResource("grammar", loaded.id), LEXO_ERR_NONE);
    EXPECT_NEAR(ResidentMib() - before, 0, 20);
}

}  // namespace
