// Puts what a recogniser is asked and answers into messages, and takes it out of them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "EngineMessages.pb.h"
#include "Recogniser.h"
#include "Resource.h"

namespace orvx {

std::string PackSamples(std::span<const std::int16_t> samples);
std::vector<std::int16_t> UnpackSamples(const std::string& bytes);

void PackResource(const Resource& resource, engine::Resource* message);
ResourcePtr UnpackResource(const engine::Resource& message);

void PackHeard(const Heard& heard, engine::Heard* message);
Heard UnpackHeard(const engine::Heard& message);

}  // namespace orvx
