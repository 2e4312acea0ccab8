// The pool of idle connections. No client here ever connects: the pool only hands them around.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "MessagesOf.h"
#include "TcpClientUser.h"
#include "TestAccess.h"

namespace {

using Access = ConnectionPoolTestAccess;
using Clients = Access::Clients;

const std::string kIp = "10.0.0.5";
constexpr int kPort = 8880;
const std::string kKey = "10.0.0.5:8880";

TcpClientUser* Rent(int port = kPort) {
    return ConnectionPool::GetInstance()->RentHandle(kIp, port);
}

void GiveBack(TcpClientUser* client, int port = kPort) {
    ConnectionPool::GetInstance()->GiveBackHandle(kIp, port, client);
}

class ConnectionPoolTest : public ::testing::Test {
  protected:
    // Three idle clients, `a_` the first to come back.
    void SetUp() override {
        for (TcpClientUser** client : {&a_, &b_, &c_}) {
            *client = Rent();
        }
        for (TcpClientUser* client : {a_, b_, c_}) {
            GiveBack(client);
        }
    }
    void TearDown() override { ConnectionPool::DestroyInstance(); }

    TcpClientUser* a_ = nullptr;
    TcpClientUser* b_ = nullptr;
    TcpClientUser* c_ = nullptr;
};

TEST_F(ConnectionPoolTest, FirstGivenBackFirstRented) {
    EXPECT_EQ(Rent(), a_);
    GiveBack(a_);
    for (TcpClientUser* client : {b_, c_, a_}) {
        EXPECT_EQ(Rent(), client);
    }
    // The list stays, empty, and counts as none.
    EXPECT_TRUE(Access::Idle().at(kKey).empty());
    TcpClientUser* fresh = nullptr;
    const Messages logged = MessagesOf([&] { fresh = Rent(); });
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_TRUE(logged[0].starts_with("xxxx--Create a new connection[10.0.0.5:8880]=[0x"));
    for (TcpClientUser* client : {a_, b_, c_, fresh}) {
        GiveBack(client);
    }
}

TEST_F(ConnectionPoolTest, UnusableClientsAreSkippedAndKept) {
    a_->is_usable_ = false;
    EXPECT_EQ(Rent(), b_);
    EXPECT_EQ(Access::Idle()[kKey], (Clients{a_, c_}));
    b_->is_usable_ = false;
    GiveBack(b_);
    EXPECT_TRUE(b_->is_usable_) << "giving back declares it usable";
    b_->is_usable_ = false;
    c_->is_usable_ = false;
    TcpClientUser* fresh = nullptr;
    const Messages logged = MessagesOf([&] { fresh = Rent(); });
    char address[20];  // its low 32 bits
    std::snprintf(address, sizeof address, "%X",
                  static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(fresh)));
    EXPECT_EQ(logged, Messages{"xxxx--[3 not usable]Create a new connection[10.0.0.5:8880]=[" +
                               std::string(address) + "] to use"});
    EXPECT_EQ(Access::Idle()[kKey], (Clients{a_, c_, b_}));
    c_->is_usable_ = true;
    EXPECT_EQ(Rent(), c_);
    GiveBack(c_);
    GiveBack(fresh);
}

TEST_F(ConnectionPoolTest, ServersAreToldApartByTheirSpelling) {
    const std::string long_name(300, 'h');
    const std::pair<std::string, int> servers[] = {{"10.0.0.5", 888},
                                                   {"10.0.0.05", 8880},
                                                   {long_name + "a", 1},
                                                   {long_name + "b", 1},
                                                   {"", 0}};
    ConnectionPool& pool = *ConnectionPool::GetInstance();
    for (const auto& [ip, port] : servers) {
        TcpClientUser* const client = pool.RentHandle(ip, port);
        pool.GiveBackHandle(ip, port, client);
        EXPECT_EQ(Access::Idle()[ip + ":" + std::to_string(port)], Clients{client});
    }
}

TEST_F(ConnectionPoolTest, DestructionClosesWhatIsIdleAndSaysSoOncePerServer) {
    b_->is_usable_ = false;
    GiveBack(Rent(1), 1);
    EXPECT_EQ(MessagesOf([] { ConnectionPool::DestroyInstance(); }),
              (Messages{"xxxx--Shutdown connection to 10.0.0.5:1",
                        "xxxx--Shutdown connection to 10.0.0.5:8880"}));
    EXPECT_EQ(MessagesOf([] { ConnectionPool::DestroyInstance(); }), Messages{});
    EXPECT_TRUE(Access::Idle().empty());
}

// What is rented while the pool is destroyed stays valid, and comes back to the fresh pool, also
// when its work ends with an exception.
TEST_F(ConnectionPoolTest, LateGiveBack) {
    TcpClientUser* client = nullptr;
    try {
        const GetConnection connection(kIp, kPort);
        client = connection.client;
        ConnectionPool::DestroyInstance();
        connection.client->Reset();
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(Access::Idle()[kKey], Clients{client});
}

}  // namespace
