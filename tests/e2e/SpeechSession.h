// A session that recognises whole recordings, and what its results say of them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Lexo.h"

// What the results of one recording say; texts and roles by segment, in the order of the audio.
struct Heard {
    // The texts, joined by blanks.
    std::string Text() const;

    int code = LEXO_ERR_NONE;
    int results = 0;
    std::vector<std::string> texts;
    std::vector<Lexo_Freetalk_Element> elements;
    std::vector<int> roles;
    std::vector<float> rates;
    std::vector<Lexo_Keyword> keywords;
    std::vector<std::pair<int, int>> speech;
    std::vector<std::pair<int, int>> silences;
};

class Session {
  public:
    // For raw audio of 16 kHz.
    explicit Session(const char* capability);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    void Set(Lexo_ParamKey key, int value);
    Lexo_Handle Handle() const { return handle_; }
    // In one call, or streamed in chunks of 100 ms.
    Heard Recognise(const std::string& audio, bool is_streamed = false);

  private:
    void Exchange(const std::string& audio, int is_over, Heard* heard);

    Lexo_Handle handle_ = nullptr;
};
