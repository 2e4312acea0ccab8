// The messages on both sides: what a frame is taken for, and what an answer looks like.
#include <gtest/gtest.h>

#include <climits>

#include "LogText.h"
#include "RequestDecoder.h"
#include "ResponseBuilder.h"
#include "TestClient.h"

namespace orvx::test {
namespace {

CapbilityAccessMessage* Access(MessageHeader* header) {
    return header->MutableExtension(quorlan::protocol::capbility::capbility_access_message);
}

MessageHeader GoodHeader() {
    return Wrap(MakeRequest("vad_tail=500", "audio"));
}

TEST(RequestDecoderTest, FindsTheRequestInTheFrame) {
    const LexoRequestMessage request = MakeRequest("vad_tail=500", std::string("\0\xFF", 2));
    const DecodedFrame frame = DecodeFrame(Wrap(request).SerializeAsString());
    ASSERT_TRUE(std::holds_alternative<LexoRequestMessage>(frame));
    EXPECT_EQ(std::get<LexoRequestMessage>(frame).SerializeAsString(), request.SerializeAsString());
    EXPECT_FALSE(CheckRequest(request));
}

TEST(RequestDecoderTest, TheOuterLayersRepetitionsMayBeMissing) {
    MessageHeader header = GoodHeader();
    Access(&header)->clear_capkey();
    Access(&header)->clear_identify();
    Access(&header)->clear_chunk_no();
    EXPECT_TRUE(
        std::holds_alternative<LexoRequestMessage>(DecodeFrame(header.SerializeAsString())));
}

TEST(RequestDecoderTest, GarbageIsNoMessage) {
    for (const std::string& body : {std::string("\xFF\xFF\xFF"), std::string(1000, '\x0A'),
                                    std::string("GET / HTTP/1.1\r\n\r\n")}) {
        EXPECT_TRUE(std::holds_alternative<UndecodableFrame>(DecodeFrame(body)));
    }
}

struct BadAccess {
    const char* says;
    void (*spoil)(MessageHeader*);
};

TEST(RequestDecoderTest, AMalformedAccessMessageIsRefusedWithAReason) {
    const BadAccess cases[] = {
        {"type 31", [](MessageHeader* h) { h->clear_message_type(); }},
        {"type 31", [](MessageHeader* h) { h->set_message_type(MessageHeader::QuorTask); }},
        {"no capbility_access_message",
         [](MessageHeader* h) {
             h->ClearExtension(quorlan::protocol::capbility::capbility_access_message);
         }},
        {"data is missing", [](MessageHeader* h) { Access(h)->clear_data(); }},
        {"data_len is missing", [](MessageHeader* h) { Access(h)->clear_data_len(); }},
        {"data_len is 3, but", [](MessageHeader* h) { Access(h)->set_data_len(3); }},
        {"data_len is -1", [](MessageHeader* h) { Access(h)->set_data_len(-1); }},
        {"no LexoRequestMessage",
         [](MessageHeader* h) {
             Access(h)->set_data("\xFF\xFF");
             Access(h)->set_data_len(2);
         }},
        {"capkey is \"other\"", [](MessageHeader* h) { Access(h)->set_capkey("other"); }},
        {"identify is \"other\"", [](MessageHeader* h) { Access(h)->set_identify("other"); }},
        {"chunk_no is 2, but the request's is -1",
         [](MessageHeader* h) { Access(h)->set_chunk_no(2); }},
    };
    for (const BadAccess& bad : cases) {
        MessageHeader header = GoodHeader();
        bad.spoil(&header);
        const DecodedFrame frame = DecodeFrame(header.SerializeAsString());
        ASSERT_TRUE(std::holds_alternative<Failure>(frame)) << bad.says;
        EXPECT_NE(std::get<Failure>(frame).error_no, LEXO_ERR_NONE);
        EXPECT_NE(std::get<Failure>(frame).text.find(bad.says), std::string::npos)
            << std::get<Failure>(frame).text;
    }
}

TEST(RequestDecoderTest, ARequestNeedsItsFields) {
    const struct {
        const char* says;
        void (*spoil)(LexoRequestMessage*);
    } cases[] = {
        {"identify is missing", [](LexoRequestMessage* r) { r->clear_identify(); }},
        {"cap_name is missing", [](LexoRequestMessage* r) { r->set_cap_name(""); }},
        {"chunk_no is missing", [](LexoRequestMessage* r) { r->clear_chunk_no(); }},
        {"chunk_no is missing", [](LexoRequestMessage* r) { r->set_chunk_no(INT_MIN); }},
        {"data_len is missing", [](LexoRequestMessage* r) { r->clear_data_len(); }},
        {"data_len is 6, but data holds 5 bytes",
         [](LexoRequestMessage* r) { r->set_data_len(6); }},
        {"data holds 0 bytes", [](LexoRequestMessage* r) { r->clear_data(); }},
    };
    for (const auto& bad : cases) {
        LexoRequestMessage request = MakeRequest("", "audio");
        bad.spoil(&request);
        const auto failure = CheckRequest(request);
        ASSERT_TRUE(failure) << bad.says;
        EXPECT_EQ(failure->error_no, LEXO_ERR_PARAM_INVALID);
        EXPECT_NE(failure->text.find(bad.says), std::string::npos) << failure->text;
    }
}

Outcome TwoSegments() {
    Outcome outcome;
    outcome.recog_status = kResultPresent;
    const RecognisedSentence go{"go on", 80, {{100, 300, 90, 0, 2}, {300, 520, 70, 3, 2}}};
    const RecognisedSentence gone{"gone", 20, {{100, 500, 30, 0, 4}}};
    outcome.segments = {{100, 600, {go, gone}}, {2000, 2400, {gone}}};
    return outcome;
}

TEST(ResponseBuilderTest, EveryCountIsThatOfItsList) {
    const LexoResponseMessage response =
        BuildFreeTalkResponse("me", "token", TwoSegments(), /*has_words=*/true);
    EXPECT_EQ(response.identify(), "me");
    EXPECT_EQ(response.result_token(), "token");
    EXPECT_EQ(response.error_no(), LEXO_ERR_NONE);
    EXPECT_EQ(response.nenginetype(), LexoResponseMessage::LEXO_ENGINE_FREETALK);
    const auto& result = response.sfreetalkresult();
    ASSERT_EQ(result.nsegmentcount(), 2);
    ASSERT_EQ(result.psegmentlist_size(), 2);
    for (const auto& segment : result.psegmentlist()) {
        EXPECT_EQ(segment.nresultcount(), segment.psentenceresults_size());
        EXPECT_EQ(segment.nresultcount(), segment.pelementlistresults_size());
        for (const auto& list : segment.pelementlistresults()) {
            EXPECT_EQ(list.nelementcount(), list.pelementlist_size());
        }
    }
    const auto& segment = result.psegmentlist(0);
    EXPECT_EQ(segment.nstarttime(), 100);
    EXPECT_EQ(segment.nendtime(), 600);
    EXPECT_EQ(segment.psentenceresults(1).psztext(), "gone");
    EXPECT_EQ(segment.psentenceresults(1).nscore(), 20);
    const auto& word = segment.pelementlistresults(0).pelementlist(1);
    EXPECT_EQ(word.nstarttime(), 300);
    EXPECT_EQ(word.nendtime(), 520);
    EXPECT_EQ(word.nscore(), 70);
    EXPECT_EQ(word.nposintext(), 3);
    EXPECT_EQ(word.ncountintext(), 2);
    EXPECT_TRUE(word.has_nflag());
}

TEST(ResponseBuilderTest, WordsOnlyWhereTheyWereAskedFor) {
    const auto response = BuildFreeTalkResponse("me", "", TwoSegments(), /*has_words=*/false);
    EXPECT_FALSE(response.has_result_token());
    EXPECT_EQ(response.sfreetalkresult().psegmentlist(0).pelementlistresults_size(), 0);
}

TEST(ResponseBuilderTest, AFailureHasNoResult) {
    Outcome outcome;
    outcome.failure = Failure{LEXO_ERR_NO_VOICE_INPUT, "no speech was heard"};
    const auto response = BuildFreeTalkResponse("me", "", outcome, false);
    EXPECT_EQ(response.error_no(), 12);
    EXPECT_EQ(response.error_desc(), "no speech was heard");
    EXPECT_EQ(response.recog_status(), 0);
    EXPECT_FALSE(response.has_sfreetalkresult());
}

TEST(LogTextTest, QuotesWhateverClientsSend) {
    EXPECT_EQ(Quote("plain ~text"), "\"plain ~text\"");
    EXPECT_EQ(Quote("a\nb\r\t\x1B[0m"), "\"a\\x0Ab\\x0D\\x09\\x1B[0m\"");
    EXPECT_EQ(Quote("\"\\\xC3\xA9"), "\"\\\"\\\\\\xC3\\xA9\"");
    EXPECT_EQ(Quote(std::string("\0", 1)), "\"\\x00\"");
    EXPECT_EQ(Quote(std::string(201, 'x')), "\"" + std::string(200, 'x') + "\"...");
    EXPECT_EQ(Quote(""), "\"\"");
}

}  // namespace
}  // namespace orvx::test
