// Recognition results of every kind for the scripted server's answers: each count agrees with its
// list, and every number and text of one result differs from the others, so that a field in the
// wrong place shows.
#pragma once

#include "LexoMessage.pb.h"

namespace scripted {

struct AnalysisShape {
    int silences = 0;
    int segments = 1;
    int sentences = 1;  // of each segment, and so on
    int elements = 0;   // of each sentence; 0: no element lists at all
    int emotions = 0;
    int keywords = 0;
};

// Each returns a message that holds the engine type and the result, nothing else.
// elements: of each sentence; 0 leaves the element lists out.
quorlan::protocol::LexoResponseMessage FreetalkResult(int segments, int sentences, int elements);
quorlan::protocol::LexoResponseMessage GrammarResult(int segments, int sentences);
quorlan::protocol::LexoResponseMessage KeywordResult(int keywords);
quorlan::protocol::LexoResponseMessage AnalysisResult(const AnalysisShape& shape);

}  // namespace scripted
