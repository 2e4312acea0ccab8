// What a scripted server can do with a request, in two kinds of pieces: frame makers build the
// bytes of an answer, reactions decide what becomes of them and of the connection.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include "ScriptedServer.h"

namespace scripted {

using FrameMaker = std::function<std::string(const Request&)>;

// ---- Frames ------------------------------------------------------------------------------------

// The good answer: accepted, the request's identity, error 0, status 0; `change` may alter the
// recognition message before it is wrapped.
FrameMaker Echo(std::function<void(quorlan::protocol::LexoResponseMessage&)> change = {});
// The good answer with the fields of `result` merged over it, and this status: with the bit of
// value 2 there is a result.
FrameMaker EchoResult(quorlan::protocol::LexoResponseMessage result, int status = 2);
// The good answer, its access layer altered.
FrameMaker EchoAccess(
    std::function<void(quorlan::protocol::capbility::CapbilityAccessResponseMessage&)> change);
// These bytes behind their length prefix.
FrameMaker Body(const std::string& body);
// These bytes as they are, and the length prefix that announces `length` bytes.
FrameMaker Bytes(std::string bytes);
std::string LengthPrefix(std::uint32_t length);

// ---- Reactions ---------------------------------------------------------------------------------

// The frame, or so many bytes of its start.
Reaction Answer(FrameMaker frame = Echo(), std::size_t bytes = std::string::npos);
Reaction Sequence(std::vector<Reaction> reactions);
// Waits until the test opens the gate (or drops its promise).
inline Reaction WaitFor(std::shared_future<void> gate) {
    return [gate = std::move(gate)](const Request&, Connection&) { gate.wait(); };
}
inline Reaction Pause(std::chrono::milliseconds time) {
    return [=](const Request&, Connection& connection) { connection.Pause(time); };
}
inline Reaction StaySilent() {
    return [](const Request&, Connection&) {};
}
inline Reaction HangUp() {
    return [](const Request&, Connection& connection) { connection.HangUp(); };
}
inline Reaction Reset() {
    return [](const Request&, Connection& connection) { connection.Reset(); };
}

}  // namespace scripted
