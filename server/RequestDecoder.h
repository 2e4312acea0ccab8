// From the body of a frame to the recognition request in it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Failure.h"
#include "LexoMessage.pb.h"

namespace orvx {

// The bytes are no message at all: whoever sent them does not speak the protocol.
struct UndecodableFrame {};

// A Failure is one of the access layer: there is no recognition request that could be answered.
using DecodedFrame = std::variant<UndecodableFrame, Failure, quorlan::protocol::LexoRequestMessage>;

DecodedFrame DecodeFrame(std::string_view body);

// What is wrong with the fields that every recognition request must have. Whether the capability
// exists, and what its other fields mean, is not looked at.
std::optional<Failure> CheckRequest(const quorlan::protocol::LexoRequestMessage& request);

}  // namespace orvx
