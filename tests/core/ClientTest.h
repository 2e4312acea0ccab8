// A client and the scripted server that it talks to.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "CapbilityAccess.pb.h"
#include "LexoMessage.pb.h"
#include "MessageHeader.pb.h"
#include "Reactions.h"
#include "ScriptedServer.h"
#include "TcpClientUser.h"

inline constexpr int kPatience = 10000;  // milliseconds; only a failure ever takes so long

class ClientTest : public ::testing::Test {
  protected:
    // One exchange with an identity that the answer repeats; gives the status.
    int Exchange(const std::string& identify = "id", int timeout = kPatience,
                 std::size_t audio_bytes = 0) {
        quorlan::protocol::LexoRequestMessage inner;
        inner.set_identify(identify);
        client_.Reset();
        auto* access = client_.request_message_->MutableExtension(
            quorlan::protocol::capbility::capbility_access_message);
        access->set_identify(std::string(audio_bytes, 'a'));
        access->set_data(inner.SerializeAsString());
        const int status = client_.SendRequestAndRecvMessage(timeout);
        EXPECT_EQ(client_.last_error_, status);
        EXPECT_EQ(client_.is_usable_, status == kTcpOK);
        return status;
    }

    // The identity that came back with the last answer.
    std::string Answered() const {
        quorlan::protocol::LexoResponseMessage response;
        response.ParseFromString(
            client_.response_message_
                ->GetExtension(quorlan::protocol::capbility::capbility_access_response_message)
                .data());
        return response.identify();
    }

    int LastConnection() const { return server_.LastRequest().connection; }

    scripted::ScriptedServer server_;
    TcpClientUser client_{"127.0.0.1", static_cast<unsigned int>(server_.Port())};
};
