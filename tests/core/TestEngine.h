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
};

// A configuration file with this content.
inline ConfigFile Settings(const std::string& content) {
    const scripted::TestHome home;
    ConfigFile file;
    file.LoadFromFile(home.WriteFile("engine.conf", content).c_str());
    return file;
}
