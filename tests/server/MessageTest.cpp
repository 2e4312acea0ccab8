// The messages on both sides: what a frame is taken for, and what an answer looks like.
#include <gtest/gtest.h>

#include <climits>

#include "LogText.h"
#include "RequestDecoder.h"
#include "ResponseBuilder.h"
#include "TestClient.h"

namespace orvx::test {
namespace {

TEST(RequestDecoderTest, FindsTheRequestInTheFrame) {
    const LexoRequestMessage request = MakeRequest("vad_tail=500", std::string("\0\xFF", 2));
    MessageHeader header = Wrap(request);
    Access(&header)->clear_capkey();  // these repeat the request, and may be missing
    Access(&header)->clear_identify();
    Access(&header)->clear_chunk_no();
    for (const MessageHeader& good : {header, Wrap(request)}) {
        const DecodedFrame frame = DecodeFrame(good.SerializeAsString());
        EXPECT_EQ(std::get<LexoRequestMessage>(frame).SerializeAsString(),
                  request.SerializeAsString());
    }
    EXPECT_FALSE(CheckRequest(request));
    EXPECT_TRUE(std::holds_alternative<UndecodableFrame>(DecodeFrame("\xFF\xFF\xFF")));
}

TEST(RequestDecoderTest, WhatIsMalformedIsRefusedWithAReason) {
    const std::pair<const char*, void (*)(MessageHeader*)> headers[] = {
        {"type 31", [](auto* h) { h->set_message_type(MessageHeader::QuorTask); }},
        {"no capbility_access_message",
         [](auto* h) {
             *h = MessageHeader(), h->set_message_type(MessageHeader::LexoRecogRequest);
         }},
        {"data is missing", [](auto* h) { Access(h)->clear_data(); }},
        {"data_len is missing", [](auto* h) { Access(h)->clear_data_len(); }},
        {"data_len is 3, but", [](auto* h) { Access(h)->set_data_len(3); }},
        {"data_len is -1", [](auto* h) { Access(h)->set_data_len(-1); }},
        {"no LexoRequestMessage",
         [](auto* h) { Access(h)->set_data("\xFF\xFF"), Access(h)->set_data_len(2); }},
        {"identify has 65537 bytes",
         [](auto* h) {
             LexoRequestMessage request = MakeRequest("", "audio");
             request.set_identify(std::string(65537, 'i'));
             *h = Wrap(request);
         }},
        {"capkey is \"other\"", [](auto* h) { Access(h)->set_capkey("other"); }},
        {"identify is \"other\"", [](auto* h) { Access(h)->set_identify("other"); }},
        {"chunk_no is 2, but the request's is -1", [](auto* h) { Access(h)->set_chunk_no(2); }}};
    for (const auto& [says, spoil] : headers) {
        MessageHeader header = Wrap(MakeRequest("vad_tail=500", "audio"));
        spoil(&header);
        const DecodedFrame frame = DecodeFrame(header.SerializeAsString());
        ASSERT_TRUE(std::holds_alternative<Failure>(frame)) << says;
        EXPECT_NE(std::get<Failure>(frame).error_no, LEXO_ERR_NONE);
        EXPECT_NE(std::get<Failure>(frame).text.find(says), std::string::npos) << says;
    }
    const std::pair<const char*, void (*)(LexoRequestMessage*)> requests[] = {
        {"identify is missing", [](auto* r) { r->clear_identify(); }},
        {"cap_name is missing", [](auto* r) { r->set_cap_name(""); }},
        {"chunk_no is missing", [](auto* r) { r->clear_chunk_no(); }},
        {"chunk_no is missing", [](auto* r) { r->set_chunk_no(INT_MIN); }},
        {"task_config has 65537 bytes",
         [](auto* r) { r->set_task_config(std::string(65537, 'c')); }},
        {"data_len is missing", [](auto* r) { r->clear_data_len(); }},
        {"data_len is 6, but data holds 5 bytes", [](auto* r) { r->set_data_len(6); }},
        {"data holds 0 bytes", [](auto* r) { r->clear_data(); }}};
    for (const auto& [says, spoil] : requests) {
        LexoRequestMessage request = MakeRequest("", "audio");
        spoil(&request);
        const auto failure = CheckRequest(request);
        ASSERT_TRUE(failure) << says;
        EXPECT_EQ(failure->error_no, LEXO_ERR_PARAM_INVALID);
        EXPECT_NE(failure->text.find(says), std::string::npos) << failure->text;
    }
}

// The numbers of a record in the order of its fields.
template <typename... Fields>
std::vector<int> Numbers(Fields... fields) {
    return {static_cast<int>(fields)...};
}

using Ints = std::vector<int>;

TEST(ResponseBuilderTest, EachCapabilityHasItsOwnForm) {
    Outcome outcome;
    outcome.recog_status = kResultPresent;
    const RecognisedSentence go{"go on", 80, {{100, 300, 90, 0, 2}, {300, 1100, 70, 3, 2}}};
    const RecognisedSentence gone{"gone", 20, {{100, 500, 30, 0, 4}}};
    outcome.segments = {{100, 1200, Role::kUser, {go, gone}, {{3, "Go", 110, 290, 66}}},
                        {2000, 2400, Role::kAgent, {go}, {{0, "on", 2100, 2200, 55}}}};
    outcome.silences = {{1200, 2000}};
    const auto freetalk = BuildResponse("me", "token", {Capability::kFreeTalk, true}, outcome);
    EXPECT_EQ(freetalk.identify() + freetalk.result_token(), "metoken");
    EXPECT_EQ(freetalk.sfreetalkresult().nsegmentcount(), 2);
    const auto& heard = freetalk.sfreetalkresult().psegmentlist(0);
    const auto& lists = heard.pelementlistresults();
    const auto& word = lists[0].pelementlist(1);
    EXPECT_EQ(Numbers(heard.nstarttime(), heard.nendtime(), heard.nresultcount(),
                      lists[0].nelementcount(), lists[1].nelementcount()),
              (Ints{100, 1200, 2, 2, 1}));
    EXPECT_EQ(Numbers(word.nstarttime(), word.nendtime(), word.nscore(), word.nposintext(),
                      word.ncountintext()),
              (Ints{300, 1100, 70, 3, 2}));
    EXPECT_EQ(heard.psentenceresults(1).psztext(), "gone");
    EXPECT_EQ(heard.psentenceresults(1).nscore(), 20);
    const auto brief = BuildResponse("me", "", {Capability::kFreeTalk, false}, outcome);
    EXPECT_FALSE(brief.has_result_token());
    EXPECT_EQ(brief.sfreetalkresult().psegmentlist(0).pelementlistresults_size(), 0);

    const auto grammar = BuildResponse("me", "", {Capability::kGrammar, true}, outcome);
    const auto& said = grammar.sgrammarresult().psegmentresults(0);
    EXPECT_EQ(
        Numbers(grammar.nenginetype(), grammar.sgrammarresult().nresultcount(), said.nstarttime(),
                said.nendtime(), said.nresultcount(), said.psentenceresults(1).nscore()),
        (Ints{1, 2, 100, 1200, 2, 20}));
    EXPECT_EQ(said.psentenceresults(1).psztext(), "gone");

    const auto spotted = BuildResponse("me", "", {Capability::kKeywordSpot, false}, outcome);
    const auto fields_of = [](const auto& keyword) {
        return Numbers(keyword.nkeywordindex(), keyword.nstarttime(), keyword.nendtime(),
                       keyword.nscore());
    };
    const auto& keywords = spotted.skeywordspotresult().pkeywordresults();
    EXPECT_EQ(Numbers(spotted.nenginetype(), spotted.skeywordspotresult().nkeywordcount()),
              (Ints{2, 2}));
    EXPECT_EQ(keywords[0].sztext() + keywords[1].sztext(), "Goon");
    EXPECT_EQ(fields_of(keywords[0]), (Ints{3, 110, 290, 66}));

    const auto analysed = BuildResponse("me", "", {Capability::kAnalysis, false}, outcome);
    const auto& call = analysed.sanalysisresult();
    EXPECT_EQ(Numbers(analysed.nenginetype(), call.nsilencecount(),
                      call.psilenceresults(0).nstarttime(), call.psilenceresults(0).nendtime(),
                      call.nsegmentcount(), call.psegmentresults(1).nrole()),
              (Ints{3, 1, 1200, 2000, 2, LexoResponseMessage::LEXO_ROLE_AGENT}));
    const auto& segment = call.psegmentresults(0);
    EXPECT_EQ(Numbers(segment.nstarttime(), segment.nendtime(), segment.nrole(),
                      segment.nresultcount(), segment.nemotioncount(), segment.nkeywordcount(),
                      segment.pelementlistresults(0).nelementcount(),
                      segment.pelementlistresults(0).pelementlist(1).nposintext()),
              (Ints{100, 1200, LexoResponseMessage::LEXO_ROLE_USER, 2, 0, 1, 2, 3}));
    EXPECT_FLOAT_EQ(segment.psentenceresults(0).fspeed(), 120) << "2 words in a second";
    EXPECT_EQ(fields_of(segment.pkeywordresults(0)), (Ints{3, 110, 290, 66}));

    outcome.failure = Failure{LEXO_ERR_NO_VOICE_INPUT, "no speech was heard"};
    outcome.recog_status = 0;
    const auto refused = BuildResponse("me", "", {}, outcome);
    EXPECT_EQ(refused.error_no(), 12);
    EXPECT_EQ(refused.error_desc(), "no speech was heard");
    EXPECT_FALSE(refused.has_sfreetalkresult());
}

TEST(LogTextTest, QuotesWhateverClientsSendAndCounts) {
    EXPECT_EQ(Quote("plain ~text"), "\"plain ~text\"");
    EXPECT_EQ(Quote("a\nb\r\t\x1B[0m"), "\"a\\x0Ab\\x0D\\x09\\x1B[0m\"");
    EXPECT_EQ(Quote("\"\\\xC3\xA9"), "\"\\\"\\\\\\xC3\\xA9\"");
    EXPECT_EQ(Quote(std::string(201, 'x')), "\"" + std::string(200, 'x') + "\"...");
    EXPECT_EQ(Count(1, "decoder") + Count(2, "decoder") + Count(0, "x"), "1 decoder2 decoders0 xs");
}

}  // namespace
}  // namespace orvx::test
