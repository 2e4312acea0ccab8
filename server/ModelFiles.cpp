#include "ModelFiles.h"

#include <pocketsphinx.h>
#include <sphinxbase/ckd_alloc.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace orvx {
namespace {

constexpr int kLinesToTry = 1000;

void CheckFile(const std::string& what, const std::string& path) {
    std::error_code error;
    if (!std::filesystem::exists(path, error))
        throw std::runtime_error("no " + what + " at " + path);
    if (!std::filesystem::is_regular_file(path, error)) {
        throw std::runtime_error("the " + what + " " + path + " is no file");
    }
    if (!std::ifstream(path)) throw std::runtime_error("cannot read the " + what + " " + path);
}

// PocketSphinx ends the process over another format.
void CheckModelDefinition(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line) && line.starts_with('#')) continue;
    for (const char* const start : {"BMDF", "FDMB", "0.3"}) {
        if (line.starts_with(start)) return;
    }
    throw std::runtime_error(path + " belongs to no acoustic model");
}

bool HasWord(ps_decoder_t* decoder, const std::string& word) {
    char* const phones = ps_lookup_word(decoder, word.c_str());
    ckd_free(phones);
    return phones != nullptr;
}

}  // namespace

void CheckModelFiles(const PocketSphinxModel& model) {
    CheckFile("acoustic model", model.acoustic_model + "/mdef");
    CheckModelDefinition(model.acoustic_model + "/mdef");
    CheckFile("language model", model.language_model);
    CheckFile("dictionary", model.dictionary);
}

void CheckDictionary(ps_decoder_s* decoder, const std::string& dictionary) {
    std::ifstream file(dictionary);
    std::string line;
    for (int i = 0; i < kLinesToTry && std::getline(file, line); ++i) {
        std::string word;
        if (std::istringstream(line) >> word && HasWord(decoder, word)) return;
    }
    throw std::runtime_error("the dictionary " + dictionary +
                             " holds no word with phones of the acoustic model");
}

}  // namespace orvx
