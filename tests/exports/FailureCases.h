// Bad answers, and what a host is to make of them.
#pragma once

#include <string>
#include <vector>

#include "TestHost.h"

struct FailureCase {
    std::string name;
    scripted::Reaction reaction;
    Outcome outcome;
    std::string error;  // the log record; {id} and {port} stand for the request's
    bool closes;        // whether an open utterance is lost
};

// The server answers in an orderly way, but not well.
std::vector<FailureCase> ProtocolCases();
// There is no whole answer.
std::vector<FailureCase> TransportCases();

// The good answer, but for its identity.
scripted::Reaction OtherIdentity(const std::string& identity);
// The good answer with this kind of result, a number in the wire's variable-length form, and this
// status.
scripted::Reaction EngineType(const std::string& varint, int status);
