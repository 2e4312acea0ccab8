#include "TestStream.h"

#include <gtest/gtest.h>

#include <utility>

#include "Utterance.h"

namespace orvx::test {

TestStream::TestStream(std::uint16_t port, std::string task_config)
    : client_(port), task_config_(std::move(task_config)) {}

LexoRequestMessage TestStream::NextRequest(const std::string& audio, bool is_closing) {
    ++number_;
    const int chunk_no = is_closing ? -number_ : number_;
    if (number_ == 1) return first_ = MakeRequest(task_config_, audio, chunk_no);
    return MakeChunk(first_, token_, audio, chunk_no);
}

Answer TestStream::Ask(const LexoRequestMessage& request) {
    Answer answer = client_.Ask(request);
    if (!answer.response.result_token().empty()) token_ = answer.response.result_token();
    return answer;
}

Answer TestStream::Send(const std::string& audio) {
    return Ask(NextRequest(audio));
}

Answer TestStream::Close() {
    return Ask(NextRequest("", /*is_closing=*/true));
}

std::vector<Answer> TestStream::SendAll(const std::string& audio) {
    constexpr std::size_t kChunkBytes = 3200;
    std::vector<Answer> results;
    for (std::size_t at = 0; at < audio.size(); at += kChunkBytes) {
        const Answer answer = Send(audio.substr(at, kChunkBytes));
        EXPECT_EQ(answer.Error(), 0) << answer.response.error_desc();
        if ((answer.Status() & kResultPresent) != 0) results.push_back(answer);
    }
    return results;
}

}  // namespace orvx::test
