// Printing on standard streams: what many threads print, and what nobody reads.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "BoundSocket.h"
#include "ChildProcess.h"
#include "StreamPrint.h"
#include "Threads.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const std::string kLine = std::string(99, 'x') + "\n";

// What standard output is for the time of the scope; takes the descriptor.
class OutputTo {
  public:
    explicit OutputTo(int fd) : former_(::dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        ::dup2(fd, STDOUT_FILENO);
        ::close(fd);
    }
    ~OutputTo() {
        ::dup2(former_, STDOUT_FILENO);
        ::close(former_);
    }
    OutputTo(const OutputTo&) = delete;
    OutputTo& operator=(const OutputTo&) = delete;

  private:
    const int former_;
};

struct Pipe {
    Pipe() {
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        ::fcntl(ends[1], F_SETPIPE_SZ, 16384);
    }
    int ends[2];
};

// Until the other end is closed, a little at a time with so long a rest in between.
std::string ReadAllOf(int pipe, milliseconds rest) {
    std::string text;
    char bytes[4096];
    for (ssize_t count = 0; (count = ::read(pipe, bytes, sizeof bytes)) > 0;) {
        text.append(bytes, static_cast<std::size_t>(count));
        std::this_thread::sleep_for(rest);
    }
    ::close(pipe);
    return text;
}

milliseconds TimeToPrint(const std::string& text) {
    const auto start = Clock::now();
    PrintOn(stdout, text);
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

// They wait for longer than a second, but the reader never rests for so long.
TEST(StreamPrintTest, ASlowReaderLosesNothingOfManyThreads) {
    constexpr int kThreads = 8;
    constexpr std::size_t kLines = 60;
    const Pipe pipe;
    std::string text;
    std::thread reader([&] { text = ReadAllOf(pipe.ends[0], milliseconds(300)); });
    {
        const OutputTo output(pipe.ends[1]);
        InThreads(kThreads, [](int) {
            for (std::size_t k = 0; k < kLines; ++k) PrintOn(stdout, kLine);
        });
    }
    reader.join();
    EXPECT_EQ(text.size(), kThreads * kLines * kLine.size());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), kThreads * kLines) << "lines are whole";
}

TEST(StreamPrintTest, AReaderThatComesBackLosesNothingMore) {
    constexpr int kThreads = 8;
    constexpr std::size_t kLines = 60;
    const std::string whole(20000, 'y');
    const Pipe pipe;
    std::string text;
    std::thread reader;
    {
        const OutputTo output(pipe.ends[1]);
        EXPECT_GE(TimeToPrint(std::string(20000, '.')), milliseconds(1000));
        EXPECT_LT(TimeToPrint("lost"), milliseconds(500)) << "nothing waits for it now";
        reader = std::thread([&] { text = ReadAllOf(pipe.ends[0], milliseconds(20)); });
        pollfd room{STDOUT_FILENO, POLLOUT, 0};
        EXPECT_EQ(::poll(&room, 1, 10000), 1);
        PrintOn(stdout, whole);
        InThreads(kThreads, [](int) {
            for (std::size_t k = 0; k < kLines; ++k) PrintOn(stdout, kLine);
        });
    }
    reader.join();
    EXPECT_EQ(std::count(text.begin(), text.end(), 'y'), whole.size());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), kThreads * kLines);
}

// With little room left poll() says that there is some, and write() waits for more.
void PrintOnSmallSocket() {
    ::alarm(20);
    const int listener = BoundSocket();
    const int peer = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int receive = 1;
    const int send = 10000;
    ::setsockopt(listener, SOL_SOCKET, SO_RCVBUF, &receive, sizeof receive);
    ::setsockopt(peer, SOL_SOCKET, SO_SNDBUF, &send, sizeof send);
    if (::listen(listener, 1) != 0 || ConnectTo(listener, peer) != 0) return;
    int slow = 0;
    {
        const OutputTo output(peer);
        for (int i = 0; i < 100; ++i) {
            if (TimeToPrint(std::string(4000, 'x')) > milliseconds(500)) ++slow;
        }
    }
    std::printf("%d waited", slow);
}

TEST(StreamPrintTest, ASocketThatTakesLessThanItSaysHoldsNothing) {
    const ChildResult child = RunInChild(PrintOnSmallSocket);
    EXPECT_TRUE(child.exited_normally);
    EXPECT_EQ(child.out, "1 waited");
}

}  // namespace
