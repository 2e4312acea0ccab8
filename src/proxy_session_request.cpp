// The way out: what one recognise call sends.
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <climits>

#include "ConnectionPool.h"
#include "DateTime.h"
#include "FuncTracer.h"
#include "Logger.h"
#include "RecognitionMessages.h"
#include "TcpClientUser.h"
#include "proxy_session.h"
#include "proxy_uuid.h"

using quorlan::protocol::LexoRequestMessage;
using quorlan::protocol::MessageHeader;
using quorlan::protocol::capbility::CapbilityAccessMessage;

namespace {

constexpr int kExchangeTimeoutMilliseconds = 2147483;
constexpr int kDeviceIdentifierType = 30;
constexpr const char* kSdkVersion = "3.5";
constexpr std::size_t kCommonIdentifyBytes = 80;  // seldom exceeded

const char* BoolText(bool value) {
    return value ? "true" : "false";
}

}  // namespace

MutexLock ProxySession::identify_index_lock_;
int ProxySession::identify_index_ = 1;

int ProxySession::RecognizeStream(const std::string& ip, int port, const char* pData, int nDataLen,
                                  int bIsDataOver, int* pRecogStatus) {
    const FuncTracer tracer("RecognizeStream", __FILE__, __LINE__);
    // Every chunk behind the first goes to the server that took the first.
    const bool is_continuing = is_realtime_ && !is_first_of_realtime_;
    const std::string server_ip = is_continuing ? realtime_ip_ : ip;
    const int server_port = is_continuing ? realtime_port_ : port;
    const Call call{ip, port, pData, nDataLen, bIsDataOver == 1, pRecogStatus};
    if (const int error = CheckCall(call); error != LEXO_ERR_NONE) {
        return error;
    }
    *pRecogStatus = 1;

    const GetConnection connection(server_ip, server_port);
    TcpClientUser& client = *connection.client;
    if (const int error = BuildMessage(call, client); error != LEXO_ERR_NONE) {
        return error;
    }
    const int status = client.SendRequestAndRecvMessage(kExchangeTimeoutMilliseconds);
    if (status != kTcpOK) {
        ClearRealTimeInfo();
        ORVX_LOG_ERROR("Network Error: Recog request to [%s:%d] faield(%d)", server_ip.c_str(),
                       server_port, status);
        return LEXO_ERR_NETWORK_FAILED;
    }
    return ReadAnswer(call, client);
}

int ProxySession::CheckCall(const Call& call) const {
    if (has_result_) {
        ORVX_LOG_ERROR("Last recog result not free.");
        return LEXO_ERR_RESULT_NOT_FREE;
    }
    const bool has_data = call.data != nullptr && call.data_len > 0;
    if (!has_data && !(is_realtime_ && call.is_over)) {
        ORVX_LOG_ERROR("pData is NULL , nDataLen is 0 nDataLen:%d", call.data_len);
        return LEXO_ERR_PARAM_INVALID;
    }
    if (call.status == nullptr) {
        return LEXO_ERR_PARAM_INVALID;
    }
    return post_process_ == nullptr ? LEXO_ERR_MEMORY : LEXO_ERR_NONE;
}

int ProxySession::FillRequest(const Call& call, LexoRequestMessage& request) {
    request.set_cap_name(cap_name_);
    // The bytes of a closing call are deliberately not sent.
    const bool is_closing = is_realtime_ && call.is_over;
    const int data_len = is_closing ? 0 : call.data_len;
    request.set_data("");  // filled on the way to the socket, as is resource_data
    request.set_data_len(data_len);

    if (is_realtime_ && is_first_of_realtime_) {
        chunk_no_ = 1;
    }
    if (!is_realtime_ || is_first_of_realtime_) {
        identify_ = NewIdentify();
        request.set_task_config(GetConfig());
        if (const int error = FillResource(request); error != LEXO_ERR_NONE) {
            return error;
        }
    } else {
        request.set_result_token(result_token_);
    }
    request.set_chunk_no(NextChunkNumber(call));
    request.set_identify(identify_);
    ORVX_LOG_INFO("%p>>>>>>>>identify=%s", static_cast<void*>(this), identify_.c_str());
    ORVX_LOG_DEBUG("is_realtime_:%s,is_first_of_realtime_:%s", BoolText(is_realtime_),
                   BoolText(is_first_of_realtime_));
    return LEXO_ERR_NONE;
}

// -1 outside real-time mode, else the chunk's number, negative when it is the utterance's last.
int ProxySession::NextChunkNumber(const Call& call) {
    if (!is_realtime_) {
        return -1;
    }
    const int number = chunk_no_;
    chunk_no_ = number == INT_MAX ? 1 : number + 1;
    return call.is_over ? -number : number;
}

int ProxySession::FillResource(LexoRequestMessage& request) const {
    if (!is_has_res_) {
        return LEXO_ERR_NONE;
    }
    request.set_resource_buildin(is_res_buildin_ ? 1 : 0);
    if (is_res_buildin_) {
        request.set_proload_resource(res_name_);
        return LEXO_ERR_NONE;
    }
    request.set_resource_data("");
    request.set_resource_data_len(static_cast<int>(res_data_len_));
    // The public formats and those of the request have the same numbers; the last one of the
    // public formats has no counterpart.
    if (!LexoRequestMessage::ResourceFormat_IsValid(res_type_)) {
        ORVX_LOG_ERROR("Resource Format Type Inviaid, res_type_=%d", static_cast<int>(res_type_));
        return LEXO_ERR_PARAM_INVALID;
    }
    request.set_resource_type(static_cast<LexoRequestMessage::ResourceFormat>(res_type_));
    return LEXO_ERR_NONE;
}

std::string ProxySession::NewIdentify() {
    int index = 0;
    {
        const MutexGuard guard(identify_index_lock_);
        index = identify_index_;
        identify_index_ = index + 1 == INT_MAX ? 1 : index + 1;
    }
    std::string identify;
    identify.reserve(kCommonIdentifyBytes);
    identify.append(std::to_string(::getpid())).append("_");
    identify.append(std::to_string(::pthread_self())).append("_");
    identify.append(DateTime::now().ToString(false)).append("_");
    return identify.append(std::to_string(index)).append(",task=recognise");
}

// Puts the message that goes on the wire into the client: the access message around the request,
// both serialised without the audio and the resource, which are sent from where they are.
int ProxySession::BuildMessage(const Call& call, TcpClientUser& client) {
    client.Reset();
    LexoRequestMessage& request = client.recognition_->request;
    if (const int error = FillRequest(call, request); error != LEXO_ERR_NONE) {
        return error;
    }
    const std::array<GatheredMessage::Content, 2> contents{
        {{LexoRequestMessage::kDataFieldNumber,
          {call.data, static_cast<std::size_t>(request.data_len())}},
         {LexoRequestMessage::kResourceDataFieldNumber, {res_data_, res_data_len_}}}};
    const std::span used(contents.data(), request.has_resource_data() ? 2 : 1);
    GatheredMessage& body = client.request_body_;
    if (!body.Start(request, used) || body.Bytes() > INT_MAX) {
        ORVX_LOG_ERROR("is_parse_ok false");
        return LEXO_ERR_NETWORK_FAILED;
    }
    CapbilityAccessMessage& access = client.recognition_->access;
    FillAccess(request.chunk_no(), static_cast<int>(body.Bytes()), access);
    if (!body.Wrap(access, CapbilityAccessMessage::kDataFieldNumber)) {
        return LEXO_ERR_NETWORK_FAILED;
    }
    MessageHeader& header = *client.request_message_;
    header.set_message_type(MessageHeader::LexoRecogRequest);
    header.set_name("CapbilityAccessMessage");
    header.MutableExtension(quorlan::protocol::capbility::capbility_access_message);
    return LEXO_ERR_NONE;
}

void ProxySession::FillAccess(int chunk_no, int data_len, CapbilityAccessMessage& access) const {
    access.set_data("");  // filled by the request
    access.set_data_len(data_len);
    access.set_capkey(cap_name_);
    access.set_property(property_ + "," + qa_paramter_);
    access.set_sdk_version(kSdkVersion);
    access.set_identify(identify_);
    access.set_chunk_no(chunk_no);
    access.set_udid_type(kDeviceIdentifierType);
    std::string machine_identifier;
    get_uuid(machine_identifier);
    access.set_udid("0:" + machine_identifier);
    ORVX_LOG_DEBUG("data_len:%d,cap_name:%s,property:%s,chunk_no:%d,uuid:%s", access.data_len(),
                   cap_name_.c_str(), property_.c_str(), access.chunk_no(), access.udid().c_str());
}
