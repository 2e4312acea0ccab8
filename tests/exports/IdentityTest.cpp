// Who asks: the identity of a request and the identifier of the machine.
#include <ifaddrs.h>
#include <netinet/in.h>
#include <pthread.h>
#include <unistd.h>

#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "FreshProcess.h"
#include "Pattern.h"
#include "TestHost.h"

namespace {

class IdentityTest : public HostTest {};

std::string LocalTime(std::time_t time) {
    char text[32];
    std::tm parts = {};
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%S", ::localtime_r(&time, &parts));
    return text;
}

struct Identity {
    std::string time;
    int index = 0;
};

Identity Parse(const std::string& identify) {
    const auto groups = scripted::MatchWhole(identify, std::to_string(::getpid()) + "_" +
                                                           std::to_string(::pthread_self()) +
                                                           "_([-0-9T:]+)_([0-9]+),task=recognise");
    if (groups.empty()) {
        ADD_FAILURE() << "not an identity: " << identify;
        return {};
    }
    return {groups[1], std::stoi(groups[2])};
}

TEST_F(IdentityTest, IdentitiesNameProcessThreadTimeAndIndex) {
    Session one("freetalk");
    Session two("grammar");
    const std::string earliest = LocalTime(std::time(nullptr));
    const Identity first = Parse(Sent(one).inner.identify());
    const Identity second = Parse(Sent(two).inner.identify());
    const Identity third = Parse(Sent(one).inner.identify());
    const std::string latest = LocalTime(std::time(nullptr));
    EXPECT_GE(first.time, earliest);
    EXPECT_LE(third.time, latest);
    EXPECT_EQ(second.index, first.index + 1) << "all sessions draw from one sequence";
    EXPECT_EQ(third.index, first.index + 2);
}

void CheckTheFirstIdentity() {
    scripted::TestHome home;
    scripted::ScriptedServer server;
    ASSERT_EQ(InitProxy(server.Address()).code, LEXO_ERR_NONE);
    Session session("freetalk");
    session.Recognize({});
    for (int index = 1; index <= 3; ++index) {
        EXPECT_EQ(session.Recognize().code, LEXO_ERR_NONE);
        EXPECT_EQ(Parse(server.LastRequest().inner.identify()).index, index);
    }
}

TEST(FreshIdentityTest, TheFirstRequestHasIndex1) {
    IN_FRESH_PROCESS(CheckTheFirstIdentity());
}

// The hardware address of an interface as the system tells it in files.
std::string HardwareAddress(const std::string& interface) {
    std::string address;
    std::ifstream("/sys/class/net/" + interface.substr(0, interface.find(':')) + "/address") >>
        address;
    for (char& c : address) {
        c = c == ':' ? '-' : c;
    }
    return address;
}

// Read in another way than the library does: from the list of addresses and from files.
std::string ExpectedDeviceIdentifier() {
    std::vector<std::string> interfaces;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) == 0) {
        for (const ifaddrs* one = list; one != nullptr; one = one->ifa_next) {
            if (one->ifa_addr != nullptr && one->ifa_addr->sa_family == AF_INET &&
                interfaces.size() < 16) {
                interfaces.emplace_back(one->ifa_name);
            }
        }
        ::freeifaddrs(list);
    }
    std::string chosen;
    for (auto name = interfaces.rbegin(); name != interfaces.rend(); ++name) {
        const std::string address = HardwareAddress(*name);
        chosen = address.empty() ? chosen : address;
        if (!address.empty() && address != "00-00-00-00-00-00") {
            break;
        }
    }
    return "0:" + chosen + std::string(15, '0');
}

TEST_F(IdentityTest, TheDeviceIdentifierIsTheMachines) {
    Session one("freetalk");
    Session two("analysis");
    const std::string udid = Sent(one).access.udid();
    EXPECT_EQ(udid, ExpectedDeviceIdentifier());
    EXPECT_FALSE(scripted::MatchWhole(udid, "0:(([0-9a-f]{2}-){5}[0-9a-f]{2})?0{15}").empty())
        << udid;
    EXPECT_EQ(Sent(two).access.udid(), udid);
}

}  // namespace
