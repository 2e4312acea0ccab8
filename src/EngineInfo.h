// One capability of the engine: its defaults and the resources loaded for it.
#pragma once

#include <map>
#include <string>

#include "Lexo.h"
#include "param_word.h"

class ConfigFile;

// Bytes that a parameter text holds; its buffer has one byte more, which is always 0.
constexpr int kPropertyTextBytes = 256;
constexpr int kPostProcessTextBytes = 1024;

// A zeroed buffer for a text of at most `text_bytes` bytes; null if it cannot be obtained.
char* NewParamText(int text_bytes);
// Replaces the text in such a buffer by at most `text_bytes` bytes of `text`, which may lie in the
// buffer itself; what is left of the buffer becomes 0.
void CopyParamText(char* buffer, int text_bytes, const char* text);

// One loaded resource.
struct ResourceInfo {
    char* pcszResourceData = nullptr;  // owned by the record in the map: new[], delete[] on unload
    int nResourceDataLen = 0;
    Lexo_ResourceFormatType eResourceFormatType = LEXO_RESOURCE_KEYWORD_LIST;
    int ref = 0;  // bindings that use the resource; changed atomically under the shared lock
};

struct EngineInfo {
    std::string cap_name;
    Lexo_EngineType engine_type = static_cast<Lexo_EngineType>(-1);
    unsigned int sample_rate = 8000;  // Hz
    unsigned int res_index = 1;       // the last resource id handed out
    std::map<unsigned int, ResourceInfo> res_map;
    // Numbers stand in the word itself. The words of the language, the domain and the
    // post-processing text point to buffers that this record owns until OrvexProxy frees them.
    ParamMap default_params;

    // Applies the built-in defaults of engine_type. False, and logged, when the type is unknown or
    // a buffer cannot be obtained.
    bool SetEngineDefaultParams();
    // Applies the built-in defaults, then the section "default" of the file, unchecked. Always
    // true.
    bool SetEngineDefaultParams(ConfigFile* config);

    // Frees the text buffers of default_params.
    void FreeDefaultTexts();
    // Leaves the text buffers and the resources' bytes allocated for good: for a record that is
    // about to be discarded while sessions may borrow from it.
    void AbandonBuffers();

    // " <capability>:", then one line "name\t=\tvalue" for each parameter with a configuration-file
    // name, in the order of the keys; every line ends with a newline.
    std::string DescribeDefaults() const;

  private:
    void SetCommonParams();
    bool SetTextParams();
    bool SetTextParam(Lexo_ParamKey key, int text_bytes, const char* text);
};
