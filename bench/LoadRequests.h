// The requests of the server's load.
#pragma once

#include <string>

#include "TestAudio.h"
#include "TestClient.h"

using orvx::test::LexoRequestMessage;

constexpr int kNoVoice = 12;  // LEXO_ERR_NO_VOICE_INPUT
constexpr int kBusy = 34;     // LEXO_ERR_ALL_SESSION_BUSY

inline const std::string& GoForward() {
    static const std::string audio = Bytes(orvx::test::Load(orvx::test::kGoForward));
    return audio;
}

inline void SetAudio(LexoRequestMessage* request, const std::string& audio, int chunk_no) {
    request->set_data(audio);
    request->set_data_len(static_cast<int>(audio.size()));
    request->set_chunk_no(chunk_no);
}

inline LexoRequestMessage FreeTalkRequest(const std::string& stream_mode, const std::string& audio,
                                          int chunk_no) {
    return orvx::test::MakeRequest(orvx::test::kPcm16 + ",stream_recog=" + stream_mode, audio,
                                   chunk_no);
}

inline LexoRequestMessage ResourceRequest(const std::string& capability, const std::string& list,
                                          LexoRequestMessage::ResourceFormat format,
                                          const std::string& audio) {
    LexoRequestMessage request = orvx::test::MakeRequest(orvx::test::kPcm16, audio);
    request.set_cap_name(capability);
    request.set_resource_buildin(0);
    request.set_resource_data(list);
    request.set_resource_data_len(static_cast<int>(list.size()));
    request.set_resource_type(format);
    return request;
}

inline LexoRequestMessage GrammarRequest(const std::string& audio) {
    return ResourceRequest("asr.cloud.grammar", "go forward ten meters\nstop\n",
                           LexoRequestMessage::LEXO_RESOURCE_GRAMMAR_WORDLIST, audio);
}

inline LexoRequestMessage KeywordRequest(const std::string& audio) {
    return ResourceRequest("asr.cloud.keywordspot", "forward\nten meters\n",
                           LexoRequestMessage::LEXO_RESOURCE_KEYWORD_LIST, audio);
}

// A fifth of a second of silence: quick to answer, with kNoVoice.
inline LexoRequestMessage QuickRequest() {
    return orvx::test::MakeRequest(orvx::test::kPcm16, orvx::test::Pause(200));
}
