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

std::string Formatted(const char* format, const TcpClientUser* client) {
    char text[32];
    if (std::string(format) == "%p") {
        std::snprintf(text, sizeof text, "%p", static_cast<const void*>(client));
    } else {
        std::snprintf(text, sizeof text, "%X",
                      static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(client)));
    }
    return text;
}

TcpClientUser* Rent(int port = kPort) {
    return ConnectionPool::GetInstance()->RentHandle(kIp, port);
}

void GiveBack(TcpClientUser* client, int port = kPort) {
    ConnectionPool::GetInstance()->GiveBackHandle(kIp, port, client);
}

class ConnectionPoolTest : public ::testing::Test {
  protected:
    void TearDown() override { ConnectionPool::DestroyInstance(); }
};

TEST_F(ConnectionPoolTest, FirstRentMakesAClientAndNoList) {
    TcpClientUser* client = nullptr;
    Messages logged = MessagesOf([&] { client = Rent(); });
    EXPECT_EQ(logged, Messages{"xxxx--Create a new connection[10.0.0.5:8880]=[" +
                               Formatted("%p", client) + "] to use"});
    EXPECT_TRUE(client->is_usable_);
    EXPECT_TRUE(Access::Idle().empty());
    EXPECT_EQ(MessagesOf([&] { GiveBack(client); }),
              Messages{"xxxx--Giveback a connection [10.0.0.5:8880]=[" + Formatted("%X", client) +
                       "] to list"});
    EXPECT_EQ(Access::Idle()[kKey], Clients{client});
    TcpClientUser* again = nullptr;
    logged = MessagesOf([&] { again = Rent(); });
    EXPECT_EQ(logged, Messages{"xxxx--Rent a connection [10.0.0.5:8880]=[" +
                               Formatted("%X", client) + "] to use"});
    EXPECT_EQ(again, client);
    // The list stays, empty, and counts as none.
    EXPECT_EQ(Access::Idle().size(), 1u);
    EXPECT_TRUE(Access::Idle()[kKey].empty());
    TcpClientUser* other = nullptr;
    logged = MessagesOf([&] { other = Rent(); });
    EXPECT_EQ(logged, Messages{"xxxx--Create a new connection[10.0.0.5:8880]=[" +
                               Formatted("%p", other) + "] to use"});
    EXPECT_NE(other, client);
    delete client;
    delete other;
}

TEST_F(ConnectionPoolTest, FirstGivenBackFirstRented) {
    TcpClientUser* const a = Rent();
    TcpClientUser* const b = Rent();
    TcpClientUser* const c = Rent();
    GiveBack(b);
    GiveBack(c);
    GiveBack(a);
    EXPECT_EQ(Rent(), b);
    GiveBack(b);
    EXPECT_EQ(Rent(), c);
    EXPECT_EQ(Rent(), a);
    EXPECT_EQ(Rent(), b);
    for (TcpClientUser* client : {a, b, c}) {
        GiveBack(client);
    }
}

TEST_F(ConnectionPoolTest, UnusableClientsAreSkippedAndKept) {
    TcpClientUser* const a = Rent();
    TcpClientUser* const b = Rent();
    TcpClientUser* const c = Rent();
    for (TcpClientUser* client : {a, b, c}) {
        GiveBack(client);
    }
    a->is_usable_ = false;
    EXPECT_EQ(Rent(), b);
    EXPECT_EQ(Access::Idle()[kKey], (Clients{a, c}));
    GiveBack(b);
    b->is_usable_ = false;
    c->is_usable_ = false;
    TcpClientUser* fresh = nullptr;
    const Messages logged = MessagesOf([&] { fresh = Rent(); });
    EXPECT_EQ(logged, Messages{"xxxx--[3 not usable]Create a new connection[10.0.0.5:8880]=[" +
                               Formatted("%X", fresh) + "] to use"});
    EXPECT_EQ(Access::Idle()[kKey], (Clients{a, c, b}));
    EXPECT_FALSE(a->is_usable_);
    c->is_usable_ = true;
    EXPECT_EQ(Rent(), c);
    delete fresh;
    delete c;
}

TEST_F(ConnectionPoolTest, GiveBackDeclaresUsable) {
    TcpClientUser* const client = Rent();
    client->is_usable_ = false;
    GiveBack(client);
    EXPECT_TRUE(client->is_usable_);
    EXPECT_EQ(Rent(), client);
    delete client;
}

TEST_F(ConnectionPoolTest, ServersAreToldApartByTheirSpelling) {
    const std::string long_name(300, 'h');
    const std::pair<std::string, int> servers[] = {{"127.0.0.1", 80},
                                                   {"127.0.0.1", 8080},
                                                   {"localhost", 80},
                                                   {long_name + "a", 1},
                                                   {long_name + "b", 1},
                                                   {"127.0.0.01", 80},
                                                   {"", 0}};
    std::vector<TcpClientUser*> clients;
    for (const auto& [ip, port] : servers) {
        clients.push_back(ConnectionPool::GetInstance()->RentHandle(ip, port));
        ConnectionPool::GetInstance()->GiveBackHandle(ip, port, clients.back());
    }
    EXPECT_EQ(Access::Idle().size(), std::size(servers));
    EXPECT_TRUE(Access::Idle().contains("127.0.0.1:8080"));
    EXPECT_TRUE(Access::Idle().contains(long_name + "b:1"));
    EXPECT_TRUE(Access::Idle().contains(":0"));
    for (std::size_t i = 0; i < clients.size(); ++i) {
        const auto& [ip, port] = servers[i];
        EXPECT_EQ(ConnectionPool::GetInstance()->RentHandle(ip, port), clients[i]);
        delete clients[i];
    }
}

TEST_F(ConnectionPoolTest, DestructionClosesWhatIsIdleAndSaysSoOncePerServer) {
    EXPECT_EQ(MessagesOf([] { ConnectionPool::DestroyInstance(); }), Messages{});
    TcpClientUser* const a = Rent();
    TcpClientUser* const b = Rent();
    GiveBack(a);
    GiveBack(b);
    b->is_usable_ = false;
    TcpClientUser* const rented = Rent(1);
    GiveBack(rented, 1);
    delete Rent(1);
    EXPECT_EQ(MessagesOf([] { ConnectionPool::DestroyInstance(); }),
              (Messages{"xxxx--Shutdown connection to 10.0.0.5:1",
                        "xxxx--Shutdown connection to 10.0.0.5:8880"}));
    EXPECT_EQ(MessagesOf([] { ConnectionPool::DestroyInstance(); }), Messages{});
    EXPECT_TRUE(Access::Idle().empty());
}

TEST_F(ConnectionPoolTest, GuardGivesBackOnEveryWayOut) {
    TcpClientUser* client = nullptr;
    try {
        const GetConnection connection(kIp, kPort);
        client = connection.client;
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(Access::Idle()[kKey], Clients{client});
}

// What is rented while the pool is destroyed stays valid, and comes back to the fresh pool.
TEST_F(ConnectionPoolTest, LateGiveBack) {
    TcpClientUser* client = nullptr;
    {
        const GetConnection connection(kIp, kPort);
        client = connection.client;
        ConnectionPool::DestroyInstance();
        connection.client->Reset();
    }
    EXPECT_EQ(Access::Idle()[kKey], Clients{client});
}

}  // namespace
