#include "TestClient.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <system_error>
#include <utility>
#include <vector>

#include "FrameCodec.h"

namespace orvx::test {
namespace {

namespace capbility = quorlan::protocol::capbility;

bool IsReady(int fd, short events, int ms) {
    pollfd entry{fd, events, 0};
    return ::poll(&entry, 1, ms) > 0;
}

}  // namespace

std::string Answer::Text() const {
    std::string text;
    for (const auto& segment : response.sfreetalkresult().psegmentlist()) {
        text += (text.empty() ? "" : " ") + segment.psentenceresults(0).psztext();
    }
    return text;
}

const LexoResponseMessage::Lexo_Freetalk_Segment& Answer::Segment(int index) const {
    return response.sfreetalkresult().psegmentlist().at(index);
}

LexoRequestMessage MakeRequest(const std::string& task_config, const std::string& audio,
                               int chunk_no) {
    static std::atomic<int> count{0};
    LexoRequestMessage request;
    request.set_identify("test_" + std::to_string(++count) + ",task=recognise");
    request.set_cap_name("asr.cloud.freetalk");
    request.set_task_config(task_config);
    request.set_data(audio);
    request.set_data_len(static_cast<int>(audio.size()));
    request.set_chunk_no(chunk_no);
    return request;
}

CapbilityAccessMessage* Access(MessageHeader* header) {
    return header->MutableExtension(capbility::capbility_access_message);
}

MessageHeader Wrap(const LexoRequestMessage& request) {
    MessageHeader header;
    header.set_message_type(MessageHeader::LexoRecogRequest);
    header.set_name("CapbilityAccessMessage");
    CapbilityAccessMessage* const access = Access(&header);
    access->set_capkey(request.cap_name());
    access->set_property("chinese_8k_common,need_nlu=no");
    access->set_sdk_version("3.5");
    access->set_identify(request.identify());
    access->set_chunk_no(request.chunk_no());
    access->set_data(request.SerializeAsString());
    access->set_data_len(static_cast<int>(access->data().size()));
    return header;
}

std::string Frame(const MessageHeader& header) {
    return Frame(header.SerializeAsString());
}

std::string Frame(const std::string& body) {
    return Prefix(body.size()) + body;
}

std::string Prefix(std::size_t body_bytes) {
    std::string prefix(kFramePrefixBytes, '\0');
    EncodeFramePrefix(static_cast<std::uint32_t>(body_bytes), prefix.data());
    return prefix;
}

TestClient::TestClient(std::uint16_t port)
    : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        ::close(socket_);
        throw std::system_error(errno, std::generic_category(), "connect");
    }
}

TestClient::TestClient(TestClient&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}

TestClient::~TestClient() {
    if (socket_ >= 0) ::close(socket_);
}

bool TestClient::Send(std::string_view bytes, int ms) {
    while (!bytes.empty()) {
        if (!IsReady(socket_, POLLOUT, ms)) return false;
        const ssize_t sent =
            ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno != EAGAIN) return false;
        if (sent > 0) bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

std::string TestClient::ReceiveBytes(std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t have = 0;
    while (have < count) {
        if (!IsReady(socket_, POLLIN, 60000)) {
            ADD_FAILURE() << "the server neither answers nor hangs up";
            break;
        }
        const ssize_t got = ::recv(socket_, bytes.data() + have, count - have, 0);
        if (got <= 0) break;
        have += static_cast<std::size_t>(got);
    }
    bytes.resize(have);
    return bytes;
}

std::optional<Answer> TestClient::Receive() {
    const std::string prefix = ReceiveBytes(kFramePrefixBytes);
    if (prefix.size() < kFramePrefixBytes) return std::nullopt;
    std::size_t bytes = 0;
    for (const char c : prefix) bytes = bytes << 8 | static_cast<unsigned char>(c);
    Answer answer;
    EXPECT_TRUE(answer.header.ParseFromString(ReceiveBytes(bytes)));
    answer.access = answer.header.GetExtension(capbility::capbility_access_response_message);
    EXPECT_EQ(answer.access.data_len(), static_cast<int>(answer.access.data().size()));
    EXPECT_TRUE(answer.response.ParseFromString(answer.access.data()));
    return answer;
}

Answer TestClient::Ask(const MessageHeader& header) {
    Send(Frame(header));
    std::optional<Answer> answer = Receive();
    EXPECT_TRUE(answer.has_value()) << "the server hung up instead of answering";
    return answer.value_or(Answer{});
}

bool TestClient::IsClosedByServer(int ms) {
    char byte = 0;
    return IsReady(socket_, POLLIN, ms) && ::recv(socket_, &byte, 1, 0) <= 0;
}

void TestClient::CloseSendingSide() {
    ::shutdown(socket_, SHUT_WR);
}

void TestClient::Reset() {
    const linger at_once{1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    ::close(std::exchange(socket_, -1));
}

}  // namespace orvx::test
