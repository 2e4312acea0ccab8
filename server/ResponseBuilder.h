// From the outcome of a request to the frame of its answer.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "Failure.h"
#include "LexoMessage.pb.h"
#include "Utterance.h"

namespace orvx {

// The whole frame of the answer. `processing` is what it took.
std::vector<char> BuildAnswer(const quorlan::protocol::LexoResponseMessage& response,
                              std::chrono::milliseconds processing);
// The answer to a frame that holds no recognition request.
std::vector<char> BuildRefusal(const Failure& failure, std::chrono::milliseconds processing);

// The free-talk response; `token` may be empty. Element lists are present where `has_words`.
quorlan::protocol::LexoResponseMessage BuildFreeTalkResponse(const std::string& identify,
                                                             const std::string& token,
                                                             const Outcome& outcome,
                                                             bool has_words);

}  // namespace orvx
