// A stand-in for the engine's shared library, with the same 18 exports. It recognises nothing: a
// script says what each recording is answered, when and with which error. A recording is known by
// the value of its first sample. The fake also watches the host: it holds the rules of the
// interface, and logs the calls.
//
// ORVX_FAKE_SCRIPT  a JSON file: {"init": code, "load": code, "answers": {"<first sample>":
// answer}}, where an
//                   answer has, all optional:
//                     "error": code, "error_at": number of the call, from 1 (default 1)
//                     "texts": [text of each segment], "result_at": number of the call; 0 (the
//                              default) is the closing call, and any call of one-shot work
//                     "after": first sample of the recording that must be answered before
//                     "signal_at": number of the call in which Ctrl-C is pressed
//                     "presses": how often (default 1)
//                     "delay_ms": time that each call takes
// ORVX_FAKE_LOG     a file that gets a line for each call
#include <Lexo.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using Json = nlohmann::json;

struct Session {
    Lexo_ParamKey realtime_key = LEXO_PARAM_STREAM;  // of STREAM and MODE, the one it has
    std::intptr_t realtime = 0;                      // and its value
    unsigned bound = 0;                              // the resource, 1 for a named one
    bool is_busy = false;                            // inside Recognize
    bool holds_result = false;
    int calls = 0;  // of the open utterance
    std::string recording;
    Lexo_RecogResult result{};
    std::vector<std::string> texts;
    std::vector<Lexo_Freetalk_Sentence> sentences;
    std::vector<Lexo_Freetalk_Segment> segments;
};

struct Fake {
    std::mutex mutex;
    std::condition_variable answered_changed;
    std::set<std::string> answered;
    std::map<Lexo_Handle, Session> sessions;
    std::intptr_t next_handle = 10000;
    std::set<unsigned> resources;
    unsigned last_resource = 1;
    Json script = Json::object();

    Fake() {
        if (const char* path = std::getenv("ORVX_FAKE_SCRIPT")) {
            std::ifstream(path) >> script;
        }
    }
};

Fake& TheFake() {
    static Fake fake;
    return fake;
}

void Log(const std::string& line) {
    if (const char* path = std::getenv("ORVX_FAKE_LOG")) {
        static std::mutex mutex;
        const std::lock_guard lock(mutex);
        std::ofstream(path, std::ios::app) << line << "\n";
    }
}

std::string Number(Lexo_Handle handle) {
    return std::to_string(reinterpret_cast<std::intptr_t>(handle));
}

// A host that breaks its promises must fail its test.
void Demand(bool holds, const char* promise) {
    if (!holds) {
        Log(std::string("BROKEN ") + promise);
        std::abort();
    }
}

std::string FirstSample(const char* data, int bytes) {
    std::int16_t sample = 0;
    if (data != nullptr && bytes >= 2) {
        std::memcpy(&sample, data, sizeof sample);
    }
    return std::to_string(sample);
}

void FillResult(Session& session, const Json& answer) {
    session.texts = answer.at("texts").get<std::vector<std::string>>();
    session.sentences.clear();
    session.segments.clear();
    session.sentences.reserve(session.texts.size());
    int start = 0;
    for (std::string& text : session.texts) {
        session.sentences.push_back({text.data(), 90});
        session.segments.push_back({start, start + 500, 1, &session.sentences.back(), nullptr});
        start += 500;
    }
    session.result = {};
    session.result.nEngineType = LEXO_ENGINE_FREETALK;
    session.result.sFreetalkResult = {static_cast<int>(session.segments.size()),
                                      session.segments.data()};
    session.holds_result = true;
}

bool IsResultDue(const Session& session, const Json& answer, bool is_closing) {
    if (!answer.contains("texts")) {
        return false;
    }
    const int result_at = answer.value("result_at", 0);
    return result_at == 0 ? is_closing : session.calls == result_at;
}

// The fake's answer to one call; waits as the script says.
Lexo_ErrCode Answer(std::unique_lock<std::mutex>& lock, Session& session, bool is_closing,
                    Lexo_RecogStatus* status) {
    Fake& fake = TheFake();
    const Json answer =
        fake.script.value("answers", Json::object()).value(session.recording, Json::object());
    if (answer.value("signal_at", -1) == session.calls) {
        for (int presses = answer.value("presses", 1); presses > 0; --presses) {
            std::raise(SIGINT);  // taken by this thread, so before the call goes on
        }
    }
    const std::string before = answer.value("after", "");
    const auto patience = std::chrono::seconds(20);
    fake.answered_changed.wait_for(
        lock, patience, [&] { return before.empty() || fake.answered.contains(before); });
    lock.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(answer.value("delay_ms", 0)));
    std::printf("noise of the engine on standard output\n");
    lock.lock();
    fake.answered.insert(session.recording);
    fake.answered_changed.notify_all();
    const int error = session.calls == answer.value("error_at", 1) ? answer.value("error", 0) : 0;
    if (error != 0 && error != LEXO_ERR_NO_VOICE_INPUT) {
        return static_cast<Lexo_ErrCode>(error);
    }
    *status = 4;
    if (IsResultDue(session, answer, is_closing)) {
        FillResult(session, answer);
        *status |= 2;
    }
    return static_cast<Lexo_ErrCode>(error);
}

}  // namespace

extern "C" {

Lexo_ErrCode orvx_proxy_Init(const char* pcszLibPath) {
    const char* home = std::getenv("QUORLAN_HOME");
    Log(std::string("init ") + pcszLibPath + " home=" + (home == nullptr ? "" : home));
    std::printf("conf_file=%s/conf/Lexo_SDK_log.xml\n", home);
    std::perror("connect remote server fail.\n");
    const int code = TheFake().script.value("init", 0);
    if (code == -1) {
        std::exit(0);  // as the engine does when it gets no socket
    }
    return static_cast<Lexo_ErrCode>(code);
}

Lexo_ErrCode orvx_proxy_End() {
    const std::lock_guard lock(TheFake().mutex);
    Log("end sessions=" + std::to_string(TheFake().sessions.size()) +
        " resources=" + std::to_string(TheFake().resources.size()));
    return TheFake().sessions.empty() ? LEXO_ERR_NONE : LEXO_ERR_ACTIVE_SESSION_EXIST;
}

Lexo_ErrCode orvx_proxy_GetCapabilityInfoList(Lexo_CapabilityInfoList* list) {
    list->nCapabilityCount = 2;
    list->pCapabilityInfoList = new Lexo_CapabilityInfo[2]{
        {"asr.cloud.analysis", LEXO_ENGINE_ANALYSIS}, {"asr.cloud.freetalk", LEXO_ENGINE_FREETALK}};
    return LEXO_ERR_NONE;
}

Lexo_ErrCode orvx_proxy_ReleaseCapabilityInfoList(Lexo_CapabilityInfoList* list) {
    delete[] list->pCapabilityInfoList;
    *list = {};
    return LEXO_ERR_NONE;
}

Lexo_ErrCode orvx_proxy_SessionStart(const char* capability, Lexo_Handle* handle) {
    Fake& fake = TheFake();
    const std::lock_guard lock(fake.mutex);
    *handle = reinterpret_cast<Lexo_Handle>(fake.next_handle++);
    const bool is_analysis = std::string(capability) == "asr.cloud.analysis";
    fake.sessions[*handle].realtime_key = is_analysis ? LEXO_PARAM_MODE : LEXO_PARAM_STREAM;
    Log("start " + std::string(capability) + " " + Number(*handle));
    return LEXO_ERR_NONE;
}

Lexo_ErrCode orvx_proxy_SessionStop(Lexo_Handle handle) {
    const std::lock_guard lock(TheFake().mutex);
    const auto found = TheFake().sessions.find(handle);
    Demand(found != TheFake().sessions.end(), "stops only open sessions");
    Demand(!found->second.is_busy, "one thread at a time on a session");
    if (found->second.holds_result) {
        return LEXO_ERR_RESULT_NOT_FREE;
    }
    Demand(found->second.bound == 0, "stops sessions without a resource");
    Log("stop " + Number(handle) + " open_calls=" + std::to_string(found->second.calls));
    TheFake().sessions.erase(found);
    return LEXO_ERR_NONE;
}

Lexo_ErrCode orvx_proxy_Recognize(Lexo_Handle handle, const char* data, int bytes, int is_over,
                                  Lexo_RecogStatus* status) {
    std::unique_lock lock(TheFake().mutex);
    Session& session = TheFake().sessions.at(handle);
    Demand(!session.is_busy, "one thread at a time on a session");
    if (session.holds_result) {
        return LEXO_ERR_RESULT_NOT_FREE;
    }
    const bool is_closing = session.realtime == 0 || is_over == 1;
    if (session.calls == 0) {
        session.recording = FirstSample(data, bytes);
    }
    ++session.calls;
    Log("recognize " + Number(handle) + " recording=" + session.recording +
        " bytes=" + std::to_string(bytes) + " over=" + std::to_string(is_over));
    *status = 1;
    session.is_busy = true;
    const Lexo_ErrCode code = Answer(lock, session, is_closing, status);
    session.is_busy = false;
    if (is_closing || code == LEXO_ERR_NETWORK_FAILED ||
        code == LEXO_ERR_REALTIME_SESSION_TIMEOUT || code == LEXO_ERR_ALL_SESSION_BUSY) {
        session.calls = 0;
    }
    return code;
}

Lexo_ErrCode orvx_proxy_GetRecogResult(Lexo_Handle handle, Lexo_RecogResult** result) {
    const std::lock_guard lock(TheFake().mutex);
    Session& session = TheFake().sessions.at(handle);
    *result = &session.result;
    return session.holds_result ? LEXO_ERR_NONE : LEXO_ERR_GET_RECOG_RESULT_FAILED;
}

Lexo_ErrCode orvx_proxy_FreeRecogResult(Lexo_Handle handle, Lexo_RecogResult** result) {
    const std::lock_guard lock(TheFake().mutex);
    Session& session = TheFake().sessions.at(handle);
    if (*result != &session.result) {
        return LEXO_ERR_PARAM_INVALID;
    }
    session.holds_result = false;
    return LEXO_ERR_NONE;
}

Lexo_ErrCode orvx_proxy_SetParam(Lexo_Handle handle, Lexo_ParamKey key, Lexo_ParamValue value) {
    const bool is_text = key == LEXO_PARAM_PROPERTY_LANGUAGE || key == LEXO_PARAM_PROPERTY_DOMAIN ||
                         key == LEXO_PARAM_POST_PROCESS;
    Log("set " + Number(handle) + " " + std::to_string(key) + "=" +
        (is_text ? static_cast<const char*>(value) : Number(value)));
    const std::lock_guard lock(TheFake().mutex);
    Session& session = TheFake().sessions.at(handle);
    if (key == session.realtime_key) {
        session.realtime = reinterpret_cast<std::intptr_t>(value);
    } else if (key == LEXO_PARAM_STREAM || key == LEXO_PARAM_MODE) {
        return LEXO_ERR_NOT_SUPPORT;
    }
    return LEXO_ERR_NONE;
}

Lexo_ErrCode orvx_proxy_GetParam(Lexo_Handle handle, Lexo_ParamKey key, Lexo_ParamValue* value) {
    const std::lock_guard lock(TheFake().mutex);
    const Session& session = TheFake().sessions.at(handle);
    const bool is_other_realtime = key == LEXO_PARAM_STREAM || key == LEXO_PARAM_MODE;
    Demand(key == session.realtime_key || !is_other_realtime, "reads what the session has");
    static char text[] = "a text\x1b";
    const bool is_text = key == LEXO_PARAM_PROPERTY_LANGUAGE || key == LEXO_PARAM_PROPERTY_DOMAIN ||
                         key == LEXO_PARAM_POST_PROCESS;
    *value = is_text ? text : reinterpret_cast<Lexo_ParamValue>(session.realtime);
    return LEXO_ERR_NONE;
}

Lexo_ErrCode orvx_proxy_LoadResource(const char* capability, Lexo_ResourceType type,
                                     const char* data, int bytes, Lexo_ResourceFormatType format,
                                     unsigned int* id) {
    Fake& fake = TheFake();
    const std::lock_guard lock(fake.mutex);
    const int code = fake.script.value("load", 0);
    Demand(type == LEXO_RESOURCE_BUFFER, "hands over bytes");
    Log("load " + std::string(capability) + " format=" + std::to_string(format) + " [" +
        std::string(data, static_cast<std::size_t>(bytes)) + "]");
    *id = code == 0 ? ++fake.last_resource : 0;
    if (code == 0) {
        fake.resources.insert(*id);
    }
    return static_cast<Lexo_ErrCode>(code);
}

Lexo_ErrCode orvx_proxy_UnloadResource(const char* capability, unsigned int id) {
    Fake& fake = TheFake();
    const std::lock_guard lock(fake.mutex);
    for (const auto& [handle, session] : fake.sessions) {
        Demand(session.bound != id, "unloads nothing that is bound");
    }
    Log("unload " + std::string(capability));
    return fake.resources.erase(id) == 1 ? LEXO_ERR_NONE : LEXO_ERR_UNLOAD_RESOURCE_FAILED;
}

Lexo_ErrCode orvx_proxy_ActiveResource(Lexo_Handle handle, unsigned int id) {
    const std::lock_guard lock(TheFake().mutex);
    Demand(TheFake().resources.contains(id), "binds what is loaded");
    Log("bind " + Number(handle));
    TheFake().sessions.at(handle).bound = id;
    return LEXO_ERR_NONE;
}

Lexo_ErrCode orvx_proxy_ActivePreloadResource(Lexo_Handle handle, const char* name) {
    const std::lock_guard lock(TheFake().mutex);
    Log("bind " + Number(handle) + " name=" + name);
    TheFake().sessions.at(handle).bound = 1;
    return LEXO_ERR_NONE;
}

Lexo_ErrCode orvx_proxy_DeactiveResource(Lexo_Handle handle) {
    const std::lock_guard lock(TheFake().mutex);
    TheFake().sessions.at(handle).bound = 0;
    return LEXO_ERR_NONE;
}

// The rest of the interface; the program does not use it.
Lexo_ErrCode orvx_proxy_PreLoad(const char*) {
    return LEXO_ERR_NOT_SUPPORT;
}
Lexo_ErrCode orvx_proxy_SaveCompiledResource(const char*, unsigned int, const char*) {
    return LEXO_ERR_NOT_SUPPORT;
}
}
