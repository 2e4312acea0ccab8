// The machine identifier, on machines with every kind of interface.
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "SystemFaults.h"
#include "proxy_uuid.h"

namespace {

const std::string kCpu(15, '0');
const std::string kZero = "00-00-00-00-00-00";

const FakeInterface kLoopback = {"lo", {{0, 0, 0, 0, 0, 0}}};
const FakeInterface kCardA = {"eth0", {{0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E}}};
const FakeInterface kCardB = {"eth1", {{0xFF, 0x80, 0x07, 0x00, 0xA0, 0x0F}}};
const FakeInterface kMute = {"tun0", std::nullopt};
const std::string kTextA = "00-1a-2b-3c-4d-5e";
const std::string kTextB = "ff-80-07-00-a0-0f";

// The loopback interface `count` times, under names of their own.
std::vector<FakeInterface> Loopbacks(int count) {
    std::vector<FakeInterface> interfaces;
    for (int i = 0; i < count; ++i) {
        interfaces.push_back({"lo:" + std::to_string(i), kLoopback.address});
    }
    return interfaces;
}

std::vector<FakeInterface> With(std::vector<FakeInterface> interfaces, const FakeInterface& last) {
    interfaces.push_back(last);
    return interfaces;
}

TEST(MachineIdentityTest, LastAddressThatIsNotZero) {
    const struct {
        std::vector<FakeInterface> interfaces;
        std::string address;
    } cases[] = {
        {{}, ""},
        {{kLoopback}, kZero},
        {{kLoopback, kCardA}, kTextA},
        {{kCardA, kLoopback}, kTextA},
        {{kLoopback, kCardA, kCardB}, kTextB},
        {{kLoopback, kCardB, kCardA}, kTextA},
        {{kCardA, kMute}, kTextA},
        {{kMute, kLoopback}, kZero},
        {{kLoopback, kMute}, kZero},
        {{kMute}, ""},
        // No more than 16 are seen.
        {With(Loopbacks(15), kCardA), kTextA},
        {With(Loopbacks(16), kCardA), kZero},
        {With(With(Loopbacks(15), kCardA), kCardB), kTextA},
    };
    int number = 0;
    for (const auto& c : cases) {
        SCOPED_TRACE(number++);
        const FaultScope faults({.interfaces = c.interfaces});
        std::string text = "before";
        EXPECT_TRUE(get_uuid(text));
        EXPECT_EQ(text, c.address + kCpu);
        text = "before";
        EXPECT_TRUE(get_mac_address(text));
        EXPECT_EQ(text, c.address + kCpu);
    }
}

TEST(MachineIdentityTest, UnreadableInterfacesLeaveTheTextAlone) {
    for (const SystemFaults& broken :
         {SystemFaults{.socket_error = EMFILE}, SystemFaults{.interface_list_error = EPERM}}) {
        const FaultScope faults(broken);
        std::string text = "before";
        EXPECT_FALSE(get_uuid(text));
        EXPECT_EQ(text, "before");
        EXPECT_FALSE(get_mac_address(text));
        EXPECT_EQ(text, "before");
    }
}

TEST(MachineIdentityTest, ProcessorIdentifierIsAPlaceholder) {
    std::string text = "before";
    GetCpuId(text);
    EXPECT_EQ(text, kCpu);
}

TEST(MachineIdentityTest, ThisMachine) {
    std::string first, second;
    EXPECT_TRUE(get_uuid(first));
    EXPECT_TRUE(get_uuid(second));
    EXPECT_EQ(first, second);
    ASSERT_TRUE(first.ends_with(kCpu)) << first;
    std::string address = first.substr(0, first.size() - kCpu.size());
    for (char& character : address) {
        character = (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f')
                        ? '0'
                        : character;
    }
    EXPECT_TRUE(address.empty() || address == kZero) << first;
}

}  // namespace
