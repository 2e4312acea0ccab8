// What --list tells: the capabilities, and the parameters that a session of each has.
#pragma once

#include <Lexo.h>

#include <string>
#include <vector>

namespace recognize {

// Asks the running engine for the defaults, which a configuration file may have changed; the audio
// format and the acoustic model are those that this program sets. Throws EngineError.
std::string DescribeCapabilities(const std::vector<Lexo_CapabilityInfo>& capabilities);

}  // namespace recognize
