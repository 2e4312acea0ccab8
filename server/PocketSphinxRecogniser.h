// The PocketSphinx engine: free talk with a statistical language model, grammars, keywords.
#pragma once

#include <string>

#include "Recogniser.h"

namespace orvx {

struct PocketSphinxModel {
    std::string acoustic_model;  // folder
    std::string language_model;  // file
    std::string dictionary;      // file
};

// The factory's recognisers share nothing but the operating system's page cache: PocketSphinx's
// models count references and cache look-ups without locks. `is_verbose` lets PocketSphinx write
// its own messages to standard error; that is one switch for the whole process.
RecogniserFactory PocketSphinxFactory(PocketSphinxModel model, bool is_verbose);

}  // namespace orvx
