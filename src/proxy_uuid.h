// The machine identifier that travels with every request: the hardware address of a network
// interface, "xx-xx-xx-xx-xx-xx", and 15 characters that stand for a processor identifier.
// Any thread.
#pragma once

#include <string>

#include "RWLock.h"

// Held for reading while the interfaces are asked, for writing over a fork: the child would keep
// the socket that they are asked through.
extern RWLock g_uuid_lock;

// Replaces `uuid` by the identifier. False, with `uuid` unchanged, when the interfaces cannot be
// listed.
bool get_uuid(std::string& uuid);

// The same. Of at most 16 interfaces with an IPv4 address, the one listed last wins whose address
// is not all zero; an all-zero address is kept only if nothing better is found, and the address
// part stays empty when no interface tells its address.
bool get_mac_address(std::string& strMacAddress);

// Replaces `strCPUID` by the processor identifier: a placeholder of fixed form, 15 times "0".
void GetCpuId(std::string& strCPUID);
