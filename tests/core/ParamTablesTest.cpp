// The parameter tables row by row: their order, names and numbers reach the host and the server.
#include <gtest/gtest.h>

#include <span>
#include <sstream>
#include <string>

#include "param_word.h"
#include "proxy_params_mgr_tables.h"

namespace {

std::string Rows(std::span<const name_value_pair> rows) {
    std::ostringstream text;
    for (const name_value_pair& row : rows) {
        text << row.name << '=' << NumberOf(row.value) << ' ';
    }
    return text.str();
}

TEST(ParamTablesTest, ValueTables) {
    EXPECT_EQ(Rows(g_LEXO_PARAM_SAMPLERATE), "8000=8000 16000=16000 ");
    EXPECT_EQ(Rows(g_LEXO_PARAM_AUDIOFORMAT),
              "pcm8k16bit=0 alaw=1 ulaw=2 vox6k4bit=3 vox8k4bit=4 gsm610=5 pcm16k16bit=6 "
              "v3_6k4bit=7 ");
    EXPECT_EQ(Rows(g_LEXO_PARAM_STREAM), "no=0 yes=1 continue=2 continue-rt=3 yes-rt=4 ");
    EXPECT_EQ(Rows(g_LEXO_PARAM_RESULT_TYPE), "sentence=0 wordlist=1 charlist=2 ");
    EXPECT_EQ(Rows(g_LEXO_PARAM_MODE), "offline=0 online=1 ");
    EXPECT_EQ(Rows(g_LEXO_PARAM_CHANNEL_TYPE), "mono=0 left_agent=1 right_agent=2 ");
    EXPECT_EQ(Rows(g_LEXO_PARAM_NBEST_RESULT), "no=0 yes=1 ");
    EXPECT_EQ(Rows(g_LEXO_PARAM_ADD_PUNC), "no=0 yes=1 ");
    EXPECT_EQ(Rows(g_LEXO_PARAM_PROPERTY_MODEL_TYPE), "8k=0 16k=1 ");
    EXPECT_EQ(Rows(g_LEXO_PARAM_FT_POST_PROCESS), "punctuate=1 smooth=4 numnormal=2 paragraph=8 ");
}

// A row as "name key type default first..second"; of a value table its rows stand in place of the
// two words.
std::string Row(const params_item& item) {
    std::ostringstream text;
    text << item.key_name << ' ' << item.key << ' ' << item.value_type << " \""
         << item.default_value << "\" ";
    if (item.value_type == 1 || item.value_type == 5) {
        text << Rows({static_cast<const name_value_pair*>(item.value_first),
                      static_cast<std::size_t>(NumberOf(item.value_second))});
    } else {
        text << IntOf(item.value_first) << ".." << IntOf(item.value_second);
    }
    return text.str();
}

TEST(ParamTablesTest, ParameterFamily) {
    const std::string expected[] = {
        "vad_head 1 2 \"10000\" 0..1800000",
        "vad_tail 2 2 \"500\" 0..30000",
        "vad_threshold 5 2 \"10\" 1..100",
        "max_seconds 3 2 \"30\" 1..60",
        "vad_threshold 5 2 \"10\" 1..100",
        "property_language 12 4 \"10\" 1..100",
        "property_domain 14 4 \"10\" 1..100",
        "audio_format 4 1 \"pcm8k16bit\" " + Rows(g_LEXO_PARAM_AUDIOFORMAT),
        "nbest_result 6 1 \"no\" no=0 yes=1 ",
        "add_punc 7 1 \"no\" no=0 yes=1 ",
        "stream_recog 8 1 \"no\" " + Rows(g_LEXO_PARAM_STREAM),
        "result_type 9 1 \"sentence\" " + Rows(g_LEXO_PARAM_RESULT_TYPE),
        "analysis_mode 10 1 \"offline\" offline=0 online=1 ",
        "channel_type 11 1 \"mono\" " + Rows(g_LEXO_PARAM_CHANNEL_TYPE),
        "property_model_type 13 1 \"8k\" 8k=0 16k=1 ",
        "qa_paramter 15 4 \"\" 1..100",
        "textpostproc 16 5 \"\" " + Rows(g_LEXO_PARAM_FT_POST_PROCESS),
    };
    ASSERT_EQ(g_params_family.size(), std::size(expected));
    for (std::size_t i = 0; i < g_params_family.size(); ++i) {
        EXPECT_EQ(Row(g_params_family[i]), expected[i]) << "row " << i;
        EXPECT_EQ(g_params_family[i].err_no, LEXO_ERR_NONE) << "row " << i;
    }
}

TEST(ParamTablesTest, ConfigurationFileNamesAreIndexedByKey) {
    const char* const expected[] = {"sample_rate",
                                    "vad_head",
                                    "vad_tail",
                                    "max_seconds",
                                    "audio_format",
                                    "vad_threshold",
                                    "nbest_result",
                                    "add_punc",
                                    "stream",
                                    "result_type",
                                    "mode",
                                    "channel_type",
                                    "property_language",
                                    "property_model_type",
                                    "property_domain"};
    ASSERT_EQ(g_param_list.size(), std::size(expected));
    for (std::size_t i = 0; i < g_param_list.size(); ++i) {
        EXPECT_STREQ(g_param_list[i].name, expected[i]);
        EXPECT_EQ(g_param_list[i].key, static_cast<int>(i));
    }
}

}  // namespace
