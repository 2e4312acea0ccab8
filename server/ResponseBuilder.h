// From the outcome of a request to the frame of its answer.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "Capability.h"
#include "Failure.h"
#include "LexoMessage.pb.h"
#include "Outcome.h"

namespace orvx {

// The whole frame of the answer. `processing` is what it took.
std::vector<char> BuildAnswer(const quorlan::protocol::LexoResponseMessage& response,
                              std::chrono::milliseconds processing);
// The answer to a frame that holds no recognition request.
std::vector<char> BuildRefusal(const Failure& failure, std::chrono::milliseconds processing);

// What form an answer's result takes.
struct ResultForm {
    Capability capability = Capability::kFreeTalk;
    bool has_words = false;  // element lists are present
};

// The response; `token` may be empty.
quorlan::protocol::LexoResponseMessage BuildResponse(const std::string& identify,
                                                     const std::string& token,
                                                     const ResultForm& form,
                                                     const Outcome& outcome);

}  // namespace orvx
