// The pool of idle connections. No client here ever connects: the pool only hands them around.
#include <gtest/gtest.h>

#include <string>

#include "TcpClientUser.h"
#include "TestAccess.h"

namespace {

using Access = ConnectionPoolTestAccess;
using Clients = Access::Clients;

const std::string kIp = "10.0.0.5";
constexpr int kPort = 8880;
const std::string kKey = "10.0.0.5:8880";

TcpClientUser* Rent() {
    return ConnectionPool::GetInstance()->RentHandle(kIp, kPort);
}

void GiveBack(TcpClientUser* client) {
    ConnectionPool::GetInstance()->GiveBackHandle(kIp, kPort, client);
}

class ConnectionPoolTest : public ::testing::Test {
  protected:
    // Three idle clients, `a_` the first to come back.
    void SetUp() override {
        for (TcpClientUser** client : {&a_, &b_, &c_}) *client = Rent();
        for (TcpClientUser* client : {a_, b_, c_}) GiveBack(client);
    }
    void TearDown() override { ConnectionPool::DestroyInstance(); }

    TcpClientUser* a_ = nullptr;
    TcpClientUser* b_ = nullptr;
    TcpClientUser* c_ = nullptr;
};

TEST_F(ConnectionPoolTest, FirstGivenBackFirstRented) {
    EXPECT_EQ(Rent(), a_);
    GiveBack(a_);
    EXPECT_EQ(Access::Idle()[kKey], (Clients{b_, c_, a_}));
}

TEST_F(ConnectionPoolTest, UnusableClientsAreSkippedAndKept) {
    a_->is_usable_ = b_->is_usable_ = c_->is_usable_ = false;
    TcpClientUser* const fresh = Rent();
    GiveBack(fresh);
    EXPECT_EQ(Access::Idle()[kKey], (Clients{a_, b_, c_, fresh}));
    c_->is_usable_ = true;
    EXPECT_EQ(Rent(), c_);
    c_->is_usable_ = false;
    GiveBack(c_);
    EXPECT_TRUE(c_->is_usable_) << "giving back declares it usable";
}

TEST_F(ConnectionPoolTest, ServersAreToldApartByTheirSpelling) {
    const std::string ips[] = {std::string(300, 'h') + "a", std::string(300, 'h') + "b", ""};
    ConnectionPool& pool = *ConnectionPool::GetInstance();
    for (const std::string& ip : ips) {
        TcpClientUser* const client = pool.RentHandle(ip, 0);
        pool.GiveBackHandle(ip, 0, client);
        EXPECT_EQ(Access::Idle()[ip + ":0"], Clients{client});
    }
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
