// One session of the engine, as an object.
#pragma once

#include <Lexo.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Parameters.h"
#include "Resource.h"

namespace recognize {

// How the calls of Recognize relate.
enum class StreamMode {
    kOneShot,    // each call is a whole recording
    kSingle,     // a stream whose first result ends the work
    kContinuous  // a stream with results until it is closed
};

// What one request may carry. One above the 64 MiB of a frame would be refused by the server's end.
inline constexpr std::size_t kMaxRequestBytes = std::size_t{60} << 20;

using ResultHandler = std::function<void(const Lexo_RecogResult&)>;

// For one thread at a time.
class Session {
  public:
    // Opens the session, sets the parameters and binds the resource, which must outlive it. Throws
    // EngineError, or UsageError for a parameter that the capability does not have.
    Session(const std::string& capability, const std::vector<ParameterSetting>& parameters,
            const Resource& resource);
    // Gives back a result that still waits, releases the resource and stops the session.
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // As the engine knows it, its configuration file included.
    StreamMode Mode() const;

    // Of its audio: two where an analysis tells the speakers apart by them.
    std::size_t Channels() const;

    // A parameter that the capability has, as the engine holds it. Text is valid during the life of
    // the session. Throws EngineError.
    Lexo_ParamValue Value(Lexo_ParamKey key) const;

    // Bytes of audio that fit into one request.
    std::size_t MaxAudioBytes() const { return kMaxRequestBytes - resource_.Bytes(); }

    const Resource& BoundResource() const { return resource_; }

    // Sends audio and waits for the answer. A result that comes with it is shown to `on_result`,
    // valid during the call only, and given back.
    Lexo_ErrCode Recognize(std::string_view audio, const ResultHandler& on_result);

    // Closes the utterance of a stream; the last result may come with the answer.
    Lexo_ErrCode Close(const ResultHandler& on_result);

  private:
    Lexo_ErrCode Exchange(std::string_view audio, bool is_data_over,
                          const ResultHandler& on_result);
    void Set(const ParameterSetting& setting);
    // Fetches and gives back the waiting result.
    Lexo_ErrCode TakeResult(const ResultHandler& on_result);
    std::optional<std::intptr_t> Number(Lexo_ParamKey key) const;
    void Stop();

    const std::string capability_;
    const Resource& resource_;
    Lexo_Handle handle_ = nullptr;
};

}  // namespace recognize
