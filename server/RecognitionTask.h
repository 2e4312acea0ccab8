// What one request or real-time utterance asks for.
#pragma once

#include "Capability.h"
#include "Resource.h"
#include "TaskParameters.h"

namespace orvx {

struct RecognitionTask {
    // Speech may begin at any time: long recordings are searched through.
    bool IsSearch() const {
        return capability == Capability::kKeywordSpot || capability == Capability::kAnalysis;
    }

    Capability capability = Capability::kFreeTalk;
    TaskParameters parameters;
    ResourcePtr resource;  // null: none is bound
};

}  // namespace orvx
