// A host as the tests play it: calls of the exported functions in a form that is short to write
// and whose outcomes compare and print as values.
#pragma once

#include <gmock/gmock.h>
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

using Lines = std::vector<std::string>;

// What the status variable holds before a Recognize call.
constexpr int kUntouched = -77;

// The code of a Recognize call and what it left in the status variable.
struct Outcome {
    int code = LEXO_ERR_NONE;
    int status = kUntouched;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome);
inline constexpr Outcome kGood = {LEXO_ERR_NONE, 0};

struct InitOutcome {
    int code = LEXO_ERR_NONE;
    std::string out;  // what the call wrote to standard output
    std::string err;  // and to standard error
};
InitOutcome InitProxy(const std::string& argument);

// How many capabilities the library lists.
int CapabilityCount();

// The id of a new resource, 0 when it was refused. A buffer's length is that of `data` unless given
// otherwise.
struct Loaded {
    int code = LEXO_ERR_NONE;
    unsigned int id = 4711;
};
Loaded LoadBuffer(const char* capability, int format, std::string_view data = "words");
Loaded LoadFile(const std::string& path);  // into the grammar engine

// A session from construction to destruction, which gives back what is still held first.
class Session {
  public:
    explicit Session(const char* capability);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Lexo_Handle Handle() const { return handle_; }
    std::intptr_t Number() const { return reinterpret_cast<std::intptr_t>(handle_); }

    int SetNumber(Lexo_ParamKey key, std::intptr_t value) {
        return orvx_proxy_SetParam(handle_, key, reinterpret_cast<Lexo_ParamValue>(value));
    }
    int SetText(Lexo_ParamKey key, const char* text) {
        return orvx_proxy_SetParam(handle_, key, const_cast<char*>(text));
    }
    std::intptr_t GetNumber(Lexo_ParamKey key) const;
    const char* GetText(Lexo_ParamKey key) const {
        return reinterpret_cast<const char*>(GetNumber(key));
    }

    int Bind(unsigned int id) { return orvx_proxy_ActiveResource(handle_, id); }
    int Bind(const char* name) { return orvx_proxy_ActivePreloadResource(handle_, name); }
    int Release() { return orvx_proxy_DeactiveResource(handle_); }

    Outcome Recognize(std::string_view audio = "audio") { return Send(audio, 0); }
    // The closing call of a real-time utterance.
    Outcome Close(std::string_view audio = {}) { return Send(audio, 1); }
    Outcome Send(std::string_view audio, int is_data_over);

    Lexo_RecogResult* GetResult();
    int FreeResult();

  private:
    Lexo_Handle handle_ = nullptr;
    bool is_started_ = false;
};

// Gives every test a home and a server, and ends the library afterwards.
class BareHostTest : public ::testing::Test {
  protected:
    explicit BareHostTest(const scripted::HomeOptions& options = {}) : home_(options) {}
    void TearDown() override { EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE); }

    // The texts that were logged at this level since the log was last looked at.
    Lines Logged(const std::string& level = "ERROR");
    // The numbers of the chunks that the server got, which both layers must agree on.
    std::vector<int> ChunkNumbers() const;

    scripted::TestHome home_;
    scripted::ScriptedServer server_;
};

// With an initialised library.
class HostTest : public BareHostTest {
  protected:
    using BareHostTest::BareHostTest;
    void SetUp() override;

    // The request of one call that the server answers well and without a result.
    scripted::Request Sent(Session& session, std::string_view audio = "audio");
    // The result that the host is lent when the server answers with this one.
    const Lexo_RecogResult* Deliver(Session& session,
                                    const quorlan::protocol::LexoResponseMessage& result);
};

// The names of the capabilities, in the order of their engine types.
inline constexpr const char* kCapabilities[] = {"asr.cloud.freetalk", "asr.cloud.grammar",
                                                "asr.cloud.keywordspot", "asr.cloud.analysis"};
