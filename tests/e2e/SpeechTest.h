// Recorded speech, a server that recognises it, and the library that takes it there.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Lexo.h"
#include "ServerProcess.h"
#include "TempDir.h"
#include "TestHome.h"

inline const std::string kRecordings = "/usr/share/pocketsphinx/test/data/";

inline std::string ReadAudio(const std::string& name) {
    constexpr std::size_t kWavHeaderBytes = 44;
    const std::string bytes = ReadAll(kRecordings + name);
    return name.ends_with(".wav") ? bytes.substr(kWavHeaderBytes) : bytes;
}

inline std::vector<std::string> Words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

// What was said in the recordings of a folder, by file.
inline std::vector<std::pair<std::string, std::string>> Transcription(const std::string& folder,
                                                                      const std::string& name) {
    std::vector<std::pair<std::string, std::string>> said;
    std::ifstream lines(kRecordings + folder + "/" + name);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t file = line.find('(') + 1;
        const std::string text = line.substr(4, line.find(" </s>") - 4);
        said.emplace_back(folder + "/" + line.substr(file, line.find(')') - file) + ".wav",
                          text.substr(0, text.find_last_not_of(' ') + 1));
    }
    return said;
}

// The share of the words of `said` that `heard` has in the same order.
inline double WordsHeard(const std::string& said, const std::string& heard) {
    const std::vector<std::string> a = Words(said);
    const std::vector<std::string> b = Words(heard);
    std::vector<std::vector<int>> common(a.size() + 1, std::vector<int>(b.size() + 1));
    for (std::size_t i = 0; i < a.size(); ++i) {
        for (std::size_t j = 0; j < b.size(); ++j) {
            common[i + 1][j + 1] =
                a[i] == b[j] ? common[i][j] + 1 : std::max(common[i][j + 1], common[i + 1][j]);
        }
    }
    return static_cast<double>(common[a.size()][b.size()]) / static_cast<double>(a.size());
}

// One server and one initialised library for all tests of a program. The server's built-in
// resources are the grammar "cards", which belongs to the recordings of that name.
class SpeechEnvironment : public testing::Environment {
  public:
    void SetUp() override {
        home_ = std::make_unique<scripted::TestHome>();
        home_->WriteFile("cards.jsgf", ReadAll(kRecordings + "cards/cards.gram"));
        server_ =
            std::make_unique<ServerProcess>("--workers 2 --resource-dir '" + home_->Path() + "'");
        const std::string address = "127.0.0.1:" + std::to_string(server_->AwaitReady());
        ASSERT_EQ(orvx_proxy_Init(address.c_str()), LEXO_ERR_NONE);
    }
    void TearDown() override {
        EXPECT_EQ(orvx_proxy_End(), LEXO_ERR_NONE);
        EXPECT_EQ(server_->End(SIGTERM), 0);
    }

  private:
    std::unique_ptr<ServerProcess> server_;
    std::unique_ptr<scripted::TestHome> home_;
};
