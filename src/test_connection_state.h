// The reachability probe of Init: one plain TCP connect, waited for at most 0.3 s, nothing sent. It
// reports on standard output and standard error, because it is the first thing an operator looks
// at.
#pragma once

#include <climits>

class OwnSocket;
struct sockaddr_in;

constexpr int kProbeWithoutSocket = INT_MIN;

// Whether the server at `ip` (dotted IPv4) and the low 16 bits of `port` accepts connections: 0 if
// so, -1 when a system call fails, 110 (ETIMEDOUT) without an answer in time, else the error number
// of the connection, e.g. 111 when it is refused. kProbeWithoutSocket when no socket can be
// created: Init then ends the process.
int test_connection_state(const char* ip, int port);

// The connecting and waiting on a non-blocking socket, with the same results.
int select_version(const OwnSocket& socket, const sockaddr_in& address);
