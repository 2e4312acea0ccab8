// The settings file, and what is asked of it.
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "ConfigFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = ::memfd_create("settings", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    if (::ftruncate(file, 0) != 0 || ::pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) {
        return 0;
    }
    ConfigFile settings;
    if (!settings.LoadFromFile(path.c_str())) return 0;
    for (const char* const section : {"", "freetalk", "asr.cloud.grammar"}) {
        for (const char* const key : {"", "vad_head", "property_language"}) {
            settings.ReadInt(section, key, -1);
            settings.ReadString(section, key, "default");
        }
    }
    return 0;
}
