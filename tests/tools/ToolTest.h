// Runs the executable against the fake engine, with recordings and a script.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "SoundFiles.h"
#include "TempDir.h"
#include "ToolProcess.h"

using Json = nlohmann::json;

class Tool : public testing::Test {
  protected:
    // Recordings of half a second; the fake knows them by their value.
    std::string Sound(std::int16_t value) {
        const std::string path = dir_.Path(std::to_string(value) + ".wav");
        WriteWav(path, Recording(value));
        return path;
    }

    ToolResult Run(const std::vector<std::string>& arguments, const Json& script = {}) {
        run_.arguments = arguments;
        run_.environment["ORVX_FAKE_SCRIPT"] =
            dir_.Write("script.json", script.is_null() ? "{}" : script.dump());
        run_.environment["ORVX_FAKE_LOG"] = dir_.Write("log", "");
        return RunTool(run_);
    }

    // The calls that the fake saw.
    std::string Log() const { return ReadAll(dir_.Path("log")); }

    int Count(const std::string& text) const {
        const std::string log = Log();
        int count = 0;
        for (std::size_t at = 0; (at = log.find(text, at)) != std::string::npos; ++at) {
            ++count;
        }
        return count;
    }

    void ExpectOrderlyEnd() const {
        EXPECT_EQ(Count("BROKEN"), 0) << Log();
        EXPECT_EQ(Count("start "), Count("stop ")) << Log();
        EXPECT_EQ(Count("end sessions=0 resources=0"), 1) << Log();
        EXPECT_EQ(Count("open_calls=0"), Count("stop ")) << "an utterance was left open\n" << Log();
    }

    const TempDir dir_;
    ToolRun run_;
};
