// An engine record as Init makes it, and configuration files for it.
#pragma once

#include <string>

#include "ConfigFile.h"
#include "EngineInfo.h"
#include "TestHome.h"
#include "param_word.h"

// The built-in defaults of one engine type; frees its texts.
struct TestEngine : EngineInfo {
    explicit TestEngine(Lexo_EngineType type) {
        engine_type = type;
        SetEngineDefaultParams();
    }
    ~TestEngine() { FreeDefaultTexts(); }
    TestEngine(const TestEngine&) = delete;
    TestEngine& operator=(const TestEngine&) = delete;

    // Applies a configuration file with this content.
    void Configure(const std::string& content) {
        const scripted::TestHome home;
        ConfigFile file;
        file.LoadFromFile(home.WriteFile("engine.conf", content).c_str());
        SetEngineDefaultParams(&file);
    }

    const char* Text(Lexo_ParamKey key) const { return TextOf(default_params.at(key)); }
    long Number(Lexo_ParamKey key) const { return NumberOf(default_params.at(key)); }
};

inline constexpr Lexo_EngineType kEngineTypes[] = {LEXO_ENGINE_FREETALK, LEXO_ENGINE_GRAMMAR,
                                                   LEXO_ENGINE_KEYWORDSPOT, LEXO_ENGINE_ANALYSIS};
