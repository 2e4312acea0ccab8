// The engine in a process of its own, so that it can be stopped in the middle of a call, and so
// that what ends it, ends neither the server nor what other decoders work on. The process is this
// program once more; it lives as long as its recogniser, and a new one is started in place of one
// that has ended.
#pragma once

#include "PocketSphinxRecogniser.h"
#include "Recogniser.h"

namespace orvx {

// Recognisers of PocketSphinx in processes of their own. `program`, or else this one, is run with
// kEngineOption as its only argument, and calls ServeEngine then.
RecogniserFactory EngineProcessFactory(PocketSphinxModel model, bool is_verbose,
                                       std::string program = {});

inline constexpr char kEngineOption[] = "--decoder";

// The other side: whether the program was started by an EngineProcess, and what it does then, with
// its standard input for a channel. Returns the status to exit with.
bool IsEngineProcess(int argc, const char* const* argv);
int ServeEngine();

}  // namespace orvx
