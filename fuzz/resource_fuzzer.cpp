// The resources that a client may bind; the first byte chooses the format.
#include <filesystem>
#include <fstream>
#include <string_view>

#include "ArpaReader.h"
#include "GrammarCompiler.h"
#include "GrammarReaders.h"
#include "ResourceError.h"
#include "WordLists.h"

namespace {

using namespace orvx;

const Dictionary& SmallDictionary() {
    static const Dictionary* const dictionary = [] {
        const auto path = std::filesystem::temp_directory_path() / "orvx-resource-fuzzer.dict";
        std::ofstream(path) << "a AH\nb B IY\nc S IY\n";
        return new Dictionary(path);
    }();
    return *dictionary;
}

void Read(int format, std::string_view text) {
    const Dictionary& dictionary = SmallDictionary();
    switch (format) {
        case 'k':
            ReadKeywordList(text, dictionary);
            return;
        case 'u':
            ReadUserWords(text, dictionary);
            return;
        case 'w':
            ReadWordList(text, dictionary);
            return;
        case 'n':
            ReadArpa(text, dictionary);
            return;
        case 'b':
            CompileGrammar(ReadAbnf(text), dictionary);
            return;
        default:
            CompileGrammar(ReadJsgf(text), dictionary);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    try {
        Read(data[0], {reinterpret_cast<const char*>(data + 1), size - 1});
    } catch (const ResourceError&) {  // what clients are told
    }
    return 0;
}
