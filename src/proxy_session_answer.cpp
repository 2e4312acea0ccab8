// The way back: how a server's answer is checked, taken over, lent to the host and given back.
#include "FuncTracer.h"
#include "Logger.h"
#include "RecogResult.h"
#include "RecognitionMessages.h"
#include "TcpClientUser.h"
#include "proxy_session.h"

using quorlan::protocol::LexoResponseMessage;

namespace {

constexpr int kStatusResult = 2;  // bit of the server's status: a result is present

// `data_len` is the server's word for how much of `data` counts.
bool ParseResponseMessage(const std::string& data, int data_len, LexoResponseMessage& response) {
    return data_len >= 0 && static_cast<std::size_t>(data_len) <= data.size() &&
           response.ParseFromArray(data.data(), data_len);
}

}  // namespace

int ProxySession::ReadAnswer(const Call& call, TcpClientUser& client) {
    const auto& access = client.response_message_->GetExtension(
        quorlan::protocol::capbility::capbility_access_response_message);
    ORVX_LOG_INFO("process_time <%d>!", access.process_time());
    if (access.error_no() != 0) {
        ORVX_LOG_ERROR("Server response:%d:[%s]", access.error_no(), access.error_desc().c_str());
        ClearRealTimeInfo();
        return LEXO_ERR_RECOG_FAILED;
    }
    LexoResponseMessage& response = client.recognition_->response;
    if (!ParseResponseMessage(access.data(), access.data_len(), response)) {
        ORVX_LOG_ERROR("parse from array failed(message_len=%d).", access.data_len());
        return LEXO_ERR_RECOG_FAILED;
    }
    if (response.identify() != identify_) {
        // The answer that was asked for may still come: it must not meet the next request.
        client.Disconnect();
        ORVX_LOG_ERROR(
            "Result not match request, Verification failed!cap_name=%s, error_no=%d, %s<>%s",
            cap_name_.c_str(), response.error_no(), identify_.c_str(), response.identify().c_str());
        return LEXO_ERR_ENGINE_FAILED;
    }
    const int error = response.error_no();
    const bool is_good = error == LEXO_ERR_NONE || error == LEXO_ERR_NO_VOICE_INPUT;
    return is_good ? TakeAnswer(call, response) : RefusedWith(response);
}

// The server's error numbers are the code space of Lexo_ErrCode.
int ProxySession::RefusedWith(const LexoResponseMessage& response) {
    const int error = response.error_no();
    ORVX_LOG_ERROR("Server response error %d, %s", error, response.error_desc().c_str());
    if (error < 0) {
        return LEXO_ERR_UNKNOWN;
    }
    if (error == LEXO_ERR_RECOG_FAILED || error == LEXO_ERR_REALTIME_SESSION_TIMEOUT ||
        error == LEXO_ERR_ALL_SESSION_BUSY) {
        ClearRealTimeInfo();
    }
    return error;
}

int ProxySession::TakeAnswer(const Call& call, const LexoResponseMessage& response) {
    *call.status = response.recog_status();
    ORVX_LOG_INFO("Recog status [0x%X]", static_cast<unsigned int>(response.recog_status()));
    if ((response.recog_status() & kStatusResult) != 0) {
        has_result_ = true;
    } else if (is_realtime_) {
        FollowRealTime(call, response);
    }
    if (!ParseResponse(response, &result_)) {
        ORVX_LOG_ERROR("Unsupported result type:[%d]", EngineTypeInAnswer(response));
        return LEXO_ERR_UNKNOWN;
    }
    if (is_realtime_) {
        FollowRealTime(call, response);
    }
    return response.error_no();
}

// Binds an utterance that this answer opened to its server, and forgets one that it closed.
void ProxySession::FollowRealTime(const Call& call, const LexoResponseMessage& response) {
    if (is_first_of_realtime_) {
        realtime_ip_ = call.ip;
        realtime_port_ = call.port;
        is_first_of_realtime_ = false;
        result_token_ = response.result_token();
    }
    if (call.is_over) {
        ClearRealTimeInfo();
    }
}

void ProxySession::ClearRealTimeInfo() {
    realtime_ip_.clear();
    realtime_port_ = 0;
    result_token_.clear();
    chunk_no_ = 1;
    is_first_of_realtime_ = true;
}

int ProxySession::GetRecogResult(Lexo_RecogResult** ppRecogResult) {
    const FuncTracer tracer("GetRecogResult", __FILE__, __LINE__);
    if (ppRecogResult == nullptr) {
        return LEXO_ERR_PARAM_INVALID;
    }
    if (!has_result_) {
        ORVX_LOG_ERROR("No result");
        return LEXO_ERR_GET_RECOG_RESULT_FAILED;
    }
    *ppRecogResult = &result_;
    return LEXO_ERR_NONE;
}

int ProxySession::FreeRecogResult(Lexo_RecogResult* pRecogResult) {
    const FuncTracer tracer("FreeRecogResult", __FILE__, __LINE__);
    if (!has_result_) {
        ORVX_LOG_ERROR("No result");
        return LEXO_ERR_FREE_RECOG_RESULT_FAILED;
    }
    if (pRecogResult != &result_) {
        return LEXO_ERR_PARAM_INVALID;
    }
    if (!ReleaseResult(&result_)) {
        ORVX_LOG_ERROR("Unknown result type[%d]", static_cast<int>(result_.nEngineType));
        return LEXO_ERR_UNKNOWN;
    }
    has_result_ = false;
    return LEXO_ERR_NONE;
}
