// Recorded speech through the whole server: socket, protocol, audio, speech detection,
// PocketSphinx.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "TestAudio.h"
#include "TestClient.h"
#include "TestServer.h"

namespace orvx::test {
namespace {

constexpr std::size_t kChunkBytes = 3200;  // 0.1 s
const std::string kPcm16 = "audio_format=pcm16k16bit";

class RecognitionTest : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        server_ = std::make_unique<TestServer>(DefaultOptions(2), RealEngine());
    }
    static void TearDownTestSuite() { server_.reset(); }

    static Answer Recognise(const std::string& task_config, const std::string& audio) {
        return TestClient(server_->Port()).Ask(MakeRequest(task_config, audio));
    }

    static std::unique_ptr<TestServer> server_;
};

std::unique_ptr<TestServer> RecognitionTest::server_;

// A stream as a host sends it; every chunk on a connection of its own when `is_roaming`.
class Stream {
  public:
    Stream(std::uint16_t port, const std::string& task_config)
        : client_(port), task_config_(task_config) {}

    Answer Send(const std::string& audio, bool is_closing = false) {
        ++number_;
        if (number_ == 1) {
            first_ = MakeRequest(task_config_, audio, is_closing ? -1 : 1);
            const Answer answer = client_.Ask(first_);
            token_ = answer.response.result_token();
            return answer;
        }
        return client_.Ask(MakeChunk(first_, token_, audio, is_closing ? -number_ : number_));
    }
    // All of it in chunks; the answers that hold a result.
    std::vector<Answer> SendAll(const std::string& audio) {
        std::vector<Answer> results;
        for (std::size_t at = 0; at < audio.size(); at += kChunkBytes) {
            const Answer answer = Send(audio.substr(at, kChunkBytes));
            EXPECT_EQ(answer.Error(), LEXO_ERR_NONE) << answer.response.error_desc();
            last_status_ = answer.Status();
            if ((answer.Status() & kResultPresent) != 0) results.push_back(answer);
        }
        return results;
    }
    Answer Close() { return Send("", /*is_closing=*/true); }
    int LastStatus() const { return last_status_; }

  private:
    TestClient client_;
    const std::string task_config_;
    LexoRequestMessage first_;
    std::string token_;
    int number_ = 0;
    int last_status_ = -1;
};

TEST_F(RecognitionTest, HearsACommandWordForWord) {
    const LexoRequestMessage request = MakeRequest(kPcm16, Bytes(Load(kGoForward.file)));
    const Answer answer = TestClient(server_->Port()).Ask(request);
    EXPECT_EQ(answer.header.message_type(), MessageHeader::LexoRecogResponse);
    EXPECT_EQ(answer.header.name(), "CapbilityAccessResponseMessage");
    EXPECT_EQ(answer.access.error_no(), 0);
    EXPECT_GT(answer.access.process_time(), 0);
    EXPECT_EQ(answer.response.identify(), request.identify());
    EXPECT_EQ(answer.Error(), LEXO_ERR_NONE);
    EXPECT_EQ(answer.Status(), kResultPresent);
    EXPECT_EQ(answer.Text(), kGoForward.said);
    ASSERT_EQ(answer.response.sfreetalkresult().nsegmentcount(), 1);
    const auto& segment = answer.response.sfreetalkresult().psegmentlist(0);
    EXPECT_EQ(segment.nresultcount(), 1);
    EXPECT_EQ(segment.pelementlistresults_size(), 0);
    EXPECT_GT(segment.psentenceresults(0).nscore(), 0);
    EXPECT_LE(segment.psentenceresults(0).nscore(), 100);
}

}  // namespace
}  // namespace orvx::test
