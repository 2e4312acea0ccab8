// Recognition results of every kind for the scripted server's answers: each count agrees with its
// list, and every number and text of one result differs from the others, so that a field in the
// wrong place shows.
#pragma once

#include "LexoMessage.pb.h"

namespace scripted {

// Each returns a message that holds the engine type and the result, nothing else.
// elements: of each sentence; 0 leaves the element lists out.
quorlan::protocol::LexoResponseMessage FreetalkResult(int segments, int sentences, int elements);
quorlan::protocol::LexoResponseMessage GrammarResult(int segments, int sentences);
quorlan::protocol::LexoResponseMessage KeywordResult(int keywords);
// segments and what is in each of them
quorlan::protocol::LexoResponseMessage AnalysisResult(int silences, int segments, int sentences,
                                                      int elements, int emotions, int keywords);

}  // namespace scripted
