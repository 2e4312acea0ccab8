// One recognition session: its parameters, the resource bound to it, the state of its real-time
// utterance and its result. It has no lock: the registry keeps it alive during every call, and the
// host works on one session with one thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Lexo.h"
#include "MutexLock.h"
#include "param_word.h"

namespace quorlan::protocol {
class LexoRequestMessage;
class LexoResponseMessage;
}  // namespace quorlan::protocol
namespace quorlan::protocol::capbility {
class CapbilityAccessMessage;
}

class TcpClientUser;

class ProxySession {
  public:
    // Copies the numbers and texts of `params`, the engine's defaults. A text that is missing there
    // reads as "" and is added to `params` with a null word. `property` is accepted and not used:
    // the property text is always made from the parameters. Where memory for a text is wanting,
    // construction stops, and recognising and the missing texts give LEXO_ERR_MEMORY.
    ProxySession(Lexo_EngineType engine_type, const std::string& cap_name,
                 const std::string& property, ParamMap& params);
    ~ProxySession();
    ProxySession(const ProxySession&) = delete;
    ProxySession& operator=(const ProxySession&) = delete;

    // ---- Parameters (proxy_session.cpp) ----
    Lexo_ErrCode SetParam(Lexo_ParamKey key, Lexo_ParamValue value);
    Lexo_ErrCode GetParam(Lexo_ParamKey key, Lexo_ParamValue* value) const;
    // The parameters as the server reads them: name=value pairs joined by ",".
    std::string GetConfig() const;
    std::string GetCapName() const { return cap_name_; }

    // ---- Resource binding (proxy_session.cpp) ----
    Lexo_ErrCode SetResourceName(const char* name);
    // `data` is borrowed for as long as it is bound.
    Lexo_ErrCode SetResourceData(const char* data, unsigned int len, Lexo_ResourceFormatType type,
                                 unsigned int res_id);
    Lexo_ErrCode UnsetResource();
    bool HasResource() const { return is_has_res_; }
    bool HasLoadedResource() const { return is_has_res_ && !is_res_buildin_; }
    unsigned int GetResourceId() const { return res_id_; }
    bool Borrows(const char* data) const { return HasLoadedResource() && res_data_ == data; }

    // ---- Recognition (proxy_session_request.cpp, proxy_session_answer.cpp) ----
    // One exchange with the server at ip:port, or with the one that holds the open utterance. The
    // arguments and the codes are those of orvx_proxy_Recognize.
    int RecognizeStream(const std::string& ip, int port, const char* pData, int nDataLen,
                        int bIsDataOver, int* pRecogStatus);
    // Whether a real-time utterance is open.
    bool InRealTimeRecog() const { return !realtime_ip_.empty(); }

    // ---- Result (proxy_session_answer.cpp) ----
    bool HasResult() const { return has_result_; }
    int GetRecogResult(Lexo_RecogResult** ppRecogResult);
    int FreeRecogResult(Lexo_RecogResult* pRecogResult);

    // Guards the counter of request identities.
    static MutexLock& IdentityLock() { return identify_index_lock_; }

  private:
    friend struct ProxySessionTestAccess;

    // The arguments of one RecognizeStream call.
    struct Call {
        const std::string& ip;
        int port;
        const char* data;
        int data_len;
        bool is_over;  // the host's last call of an utterance
        int* status;
    };

    bool AllocateTexts(ParamMap& params);
    bool AllocateText(ParamMap& params, Lexo_ParamKey key, std::unique_ptr<char[]>* buffer);
    void LogParams() const;
    bool HoldsParam(Lexo_ParamKey key, std::intptr_t smallest, std::intptr_t largest) const;
    void RebuildProperty();
    Lexo_ErrCode SetText(Lexo_ParamKey key, const char* text);

    int CheckCall(const Call& call) const;
    int FillRequest(const Call& call, quorlan::protocol::LexoRequestMessage& request);
    int FillResource(quorlan::protocol::LexoRequestMessage& request) const;
    int NextChunkNumber(const Call& call);
    static std::string NewIdentify();
    int BuildMessage(const Call& call, TcpClientUser& client);
    void FillAccess(int chunk_no, int data_len,
                    quorlan::protocol::capbility::CapbilityAccessMessage& access) const;
    int ReadAnswer(const Call& call, TcpClientUser& client);
    int RefusedWith(const quorlan::protocol::LexoResponseMessage& response);
    int TakeAnswer(const Call& call, const quorlan::protocol::LexoResponseMessage& response);
    void FollowRealTime(const Call& call, const quorlan::protocol::LexoResponseMessage& response);
    void ClearRealTimeInfo();

    ParamMap params_;  // its keys are the parameters that the session has
    std::unique_ptr<char[]> language_, domain_, post_process_;  // what the text words point to
    std::string cap_name_;
    std::string property_;     // language_model_domain
    std::string qa_paramter_;  // a copy of the post-processing text
    Lexo_EngineType engine_type_;

    bool is_has_res_ = false;
    bool is_res_buildin_ = false;  // bound by name, not by data
    std::string res_name_;
    unsigned int res_id_ = 0;
    const char* res_data_ = nullptr;  // borrowed
    unsigned int res_data_len_ = 0;
    Lexo_ResourceFormatType res_type_ = LEXO_RESOURCE_KEYWORD_LIST;

    bool is_realtime_ = false;          // several calls make one utterance
    bool is_first_of_realtime_ = true;  // the next chunk opens an utterance
    std::string realtime_ip_;           // the server that holds the open utterance
    int realtime_port_ = 0;
    std::string result_token_;  // that server's name for the utterance
    int chunk_no_ = 1;          // of the next chunk
    std::string identify_;      // of the current request or utterance

    bool has_result_ = false;    // result_ waits for the host
    Lexo_RecogResult result_{};  // the last converted answer, fetchable or not

    static MutexLock identify_index_lock_;
    static int identify_index_;  // of the next request of the process
};
