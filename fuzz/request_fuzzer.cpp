// What a client may send to the server: from the frame to the engine's door.
#include <filesystem>
#include <fstream>
#include <string_view>

#include "RequestDecoder.h"
#include "ResourceLoader.h"
#include "TaskParameters.h"

namespace {

using namespace orvx;

// A small dictionary, and an empty folder of built-in resources.
ResourceLoader* MakeLoader() {
    const auto folder = std::filesystem::temp_directory_path() / "orvx-request-fuzzer";
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "words.dict") << "a AH\nb B IY\n";
    return new ResourceLoader(folder / "words.dict", folder);
}

void Serve(const quorlan::protocol::LexoRequestMessage& request) {
    static ResourceLoader* const loader = MakeLoader();
    if (CheckRequest(request)) return;
    const auto capability = FindCapability(request.cap_name());
    if (std::holds_alternative<Failure>(capability)) return;
    TaskParameters parameters;
    if (ParseTaskParameters(request.task_config(), &parameters)) return;
    CheckParameters(std::get<Capability>(capability), parameters);
    static_cast<void>(loader->Load(std::get<Capability>(capability), request));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const DecodedFrame frame = DecodeFrame({reinterpret_cast<const char*>(data), size});
    if (const auto* const request = std::get_if<quorlan::protocol::LexoRequestMessage>(&frame)) {
        Serve(*request);
    }
    return 0;
}
