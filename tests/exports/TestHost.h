// A host as the tests play it: calls of the exported functions in a form that is short to write
// and whose outcomes compare and print as values.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "Lexo.h"
#include "Reactions.h"
#include "ScriptedServer.h"
#include "TestHome.h"

// What the status variable holds before a Recognize call.
constexpr int kUntouched = -77;

// The code of a Recognize call and what it left in the status variable.
struct Outcome {
    int code = LEXO_ERR_NONE;
    int status = kUntouched;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome);

struct InitOutcome {
    int code = LEXO_ERR_NONE;
    std::string out;  // what the call wrote to standard output
    std::string err;  // and to standard error
};
InitOutcome InitProxy(const char* argument);
InitOutcome InitProxy(const std::string& argument);

// How many capabilities the library lists.
int CapabilityCount();

// A session from construction to destruction, which gives back what is still held first.
class Session {
  public:
    explicit Session(const char* capability);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Lexo_Handle Handle() const { return handle_; }
    std::intptr_t Number() const { return reinterpret_cast<std::intptr_t>(handle_); }

    int SetNumber(Lexo_ParamKey key, std::intptr_t value);
    int SetText(Lexo_ParamKey key, const char* text);
    std::intptr_t GetNumber(Lexo_ParamKey key) const;
    const char* GetText(Lexo_ParamKey key) const;

    Outcome Recognize(std::string_view audio = "audio");
    // The closing call of a real-time utterance.
    Outcome Close(std::string_view audio = {});
    Outcome Send(std::string_view audio, int is_data_over);

    Lexo_RecogResult* GetResult();
    int FreeResult();

  private:
    Lexo_Handle handle_ = nullptr;
    bool is_started_ = false;
};

// Gives every test a home, a server and an initialised library, and ends it afterwards.
class HostTest : public ::testing::Test {
  protected:
    explicit HostTest(const scripted::HomeOptions& options = {}) : home_(options) {}

    void SetUp() override;
    void TearDown() override;

    // The request of one call that the server answers well and without a result.
    scripted::Request Sent(Session& session, std::string_view audio = "audio");
    // The result that the host is lent when the server answers with this one.
    const Lexo_RecogResult* Deliver(Session& session,
                                    const quorlan::protocol::LexoResponseMessage& result);

    scripted::TestHome home_;
    scripted::ScriptedServer server_;
};

// The names of the capabilities, in the order of their engine types.
inline constexpr const char* kCapabilities[] = {"asr.cloud.freetalk", "asr.cloud.grammar",
                                                "asr.cloud.keywordspot", "asr.cloud.analysis"};
