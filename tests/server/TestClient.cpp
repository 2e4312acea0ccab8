#include "TestClient.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <atomic>

#include "FrameCodec.h"

namespace orvx::test {
namespace {

namespace capbility = quorlan::protocol::capbility;

asio::io_context g_context;  // never run: the client does one thing at a time

}  // namespace

std::string Answer::Text() const {
    std::string text;
    for (const auto& segment : response.sfreetalkresult().psegmentlist())
        text += (text.empty() ? "" : " ") + segment.psentenceresults(0).psztext();
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

TestClient::TestClient(std::uint16_t port) : socket_(g_context) {
    socket_.connect({asio::ip::address_v4::loopback(), port});
    socket_.non_blocking(true);
}

bool TestClient::IsReady(short events, int ms) {
    pollfd entry{socket_.native_handle(), events, 0};
    return ::poll(&entry, 1, ms) > 0;
}

bool TestClient::Send(std::string_view bytes, int ms) {
    while (!bytes.empty()) {
        if (!IsReady(POLLOUT, ms)) return false;
        asio::error_code error;
        bytes.remove_prefix(socket_.write_some(asio::buffer(bytes), error));
        if (error && error != asio::error::would_block) return false;
    }
    return true;
}

std::string TestClient::ReceiveBytes(std::size_t count) {
    std::string bytes(count, '\0');
    std::size_t have = 0;
    for (asio::error_code error; have < count && !error;) {
        if (!IsReady(POLLIN, 60000)) {
            ADD_FAILURE() << "the server neither answers nor hangs up";
            break;
        }
        have += socket_.read_some(asio::buffer(&bytes[have], count - have), error);
    }
    bytes.resize(have);
    return bytes;
}

std::optional<Answer> TestClient::Receive() {
    const std::string prefix = ReceiveBytes(kFramePrefixBytes);
    if (prefix.size() < kFramePrefixBytes) return std::nullopt;
    std::size_t bytes = 0;
    for (const char c : prefix) bytes = bytes << 8 | static_cast<unsigned char>(c);
    return ParseAnswer(ReceiveBytes(bytes));
}

Answer ParseAnswer(const std::string& body) {
    Answer answer;
    EXPECT_TRUE(answer.header.ParseFromString(body));
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
    asio::error_code error;
    return IsReady(POLLIN, ms) && socket_.read_some(asio::buffer(&byte, 1), error) == 0;
}

}  // namespace orvx::test
