#include "TestServer.h"

#include <gtest/gtest.h>

#include "Utterance.h"

namespace orvx::test {

Options DefaultOptions(std::size_t decoders) {
    const std::string workers = std::to_string(decoders);
    const char* const arguments[] = {"orvx-server", "--listen", "127.0.0.1:0", "--workers",
                                     workers.c_str()};
    return *ParseOptions(5, arguments).options;
}

LexoRequestMessage TestStream::NextRequest(const std::string& audio, bool is_closing) {
    ++number_;
    LexoRequestMessage request =
        MakeRequest(first_.task_config(), audio, is_closing ? -number_ : number_);
    request.set_identify(first_.identify());
    if (number_ == 1) return request;
    request.clear_task_config();
    request.set_result_token(token_);
    return request;
}

Answer TestStream::Ask(const LexoRequestMessage& request) {
    Answer answer = client_.Ask(request);
    if (!answer.response.result_token().empty()) token_ = answer.response.result_token();
    return answer;
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
