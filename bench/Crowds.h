// Clients of the recognition server that come in numbers, and most of which misbehave. Each
// function returns how many were treated as they must be, while the crowd still holds its ends of
// the connections; they are let go with `held`.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "TestClient.h"

using HeldConnections = std::vector<orvx::test::TestClient>;

// Connect, then ask, all at once; every tenth with speech.
int ManyAtOnce(std::uint16_t port, int crowd, HeldConnections* held);
// Send a request a byte at a time: one half in time, so that it is answered; the other half never
// comes to the end, so that the connection is closed.
int Slow(std::uint16_t port, int crowd, HeldConnections* held);
// Send half of a frame of 1 MiB, then nothing: closed.
int Stuck(std::uint16_t port, int crowd, HeldConnections* held);
// Close their sending side: one half behind a request, which is answered, the other within one.
int HalfClosed(std::uint16_t port, int crowd, HeldConnections* held);
// Never read an answer, and ask until nothing more is taken. Whether they are closed is to be seen
// at the server alone.
int Deaf(std::uint16_t port, int crowd, HeldConnections* held);
// Open a real-time utterance and send no second chunk; the connection is kept for the next one,
// closed or reset. A full server is asked again. Every fiftieth is speech without an end.
int Abandoning(std::uint16_t port, int crowd, HeldConnections* held);
