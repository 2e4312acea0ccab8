// One connection, on a network thread that the test runs step by step.
#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <asio/write.hpp>
#include <thread>

#include "Connection.h"
#include "FakeEngine.h"
#include "TestServer.h"

namespace orvx::test {
namespace {

using asio::ip::tcp;

// As when the network thread is busy with others meanwhile.
TEST(ConnectionTest, ARefusalThatComesAsItsClientIsLookedAtEndsIt) {
    FakeEngine engine;
    const Options options = DefaultOptions(1);
    RecognitionService service(options.service, engine.Factory());
    asio::io_context network;
    tcp::acceptor acceptor(network, {asio::ip::address_v4::loopback(), 0});
    tcp::socket client(network);
    client.connect(acceptor.local_endpoint());
    ReceivedBytes received;
    int closed = 0;
    auto connection =
        std::make_shared<Connection>(acceptor.accept(), options.connection, &service, &received,
                                     [&](const std::shared_ptr<Connection>&) { ++closed; });
    const std::weak_ptr<Connection> left = connection;
    connection->Start();
    connection.reset();
    asio::write(client, asio::buffer(Frame("\xFF\xFF\xFF\xFF")));
    network.run_one();                                            // reads it
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // it is answered, and looked at
    network.run_for(std::chrono::seconds(2));
    EXPECT_EQ(closed, 1);
    EXPECT_TRUE(left.expired());
}

}  // namespace
}  // namespace orvx::test
