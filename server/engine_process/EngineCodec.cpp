#include "EngineCodec.h"

#include <cstring>
#include <memory>
#include <utility>

namespace orvx {
namespace {

void Pack(const GrammarNetwork& grammar, engine::GrammarNetwork* message) {
    message->set_states(grammar.states);
    for (const std::string& word : grammar.words) message->add_words(word);
    for (const GrammarNetwork::Arc& arc : grammar.arcs) {
        message->add_from(arc.from);
        message->add_to(arc.to);
        message->add_word(arc.word);
        message->add_probability(arc.probability);
    }
}

GrammarNetwork Unpack(const engine::GrammarNetwork& message) {
    GrammarNetwork grammar;
    grammar.states = message.states();
    grammar.words.assign(message.words().begin(), message.words().end());
    for (int i = 0; i < message.from_size(); ++i) {
        grammar.arcs.push_back(
            {message.from(i), message.to(i), message.word(i), message.probability(i)});
    }
    return grammar;
}

void Pack(const LanguageModel& model, engine::LanguageModel* message) {
    for (const LanguageModel::Order& order : model.orders) {
        message->add_count(order.count);
        message->add_lines(order.lines);
    }
}

LanguageModel Unpack(const engine::LanguageModel& message) {
    LanguageModel model;
    for (int i = 0; i < message.count_size(); ++i) {
        model.orders.push_back({message.count(i), message.lines(i)});
    }
    return model;
}

void Pack(const KeywordList& keywords, engine::KeywordList* message) {
    for (const Keyword& keyword : keywords) {
        message->add_text(keyword.text);
        message->add_words(keyword.words);
        message->add_threshold(keyword.threshold);
    }
}

KeywordList Unpack(const engine::KeywordList& message) {
    KeywordList keywords;
    for (int i = 0; i < message.text_size(); ++i) {
        keywords.push_back({message.text(i), message.words(i), message.threshold(i)});
    }
    return keywords;
}

void Pack(const UserWords& words, engine::UserWords* message) {
    for (const UserWord& word : words) {
        message->add_text(word.text);
        message->add_phones(word.phones);
    }
}

UserWords Unpack(const engine::UserWords& message) {
    UserWords words;
    for (int i = 0; i < message.text_size(); ++i) {
        words.push_back({message.text(i), message.phones(i)});
    }
    return words;
}

void Pack(const RecognisedSentence& sentence, engine::Sentence* message) {
    message->set_text(sentence.text);
    message->set_score(sentence.score);
    for (const RecognisedWord& word : sentence.words) {
        message->add_start_ms(word.start_ms);
        message->add_end_ms(word.end_ms);
        message->add_word_score(word.score);
        message->add_position(word.position);
        message->add_length(word.length);
    }
}

RecognisedSentence Unpack(const engine::Sentence& message) {
    RecognisedSentence sentence{message.text(), message.score(), {}};
    for (int i = 0; i < message.start_ms_size(); ++i) {
        sentence.words.push_back({message.start_ms(i), message.end_ms(i), message.word_score(i),
                                  message.position(i), message.length(i)});
    }
    return sentence;
}

}  // namespace

std::string PackSamples(std::span<const std::int16_t> samples) {
    std::string bytes(samples.size_bytes(), '\0');
    if (!samples.empty()) std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

std::vector<std::int16_t> UnpackSamples(const std::string& bytes) {
    std::vector<std::int16_t> samples(bytes.size() / sizeof(std::int16_t));
    if (!samples.empty()) {
        std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(std::int16_t));
    }
    return samples;
}

void PackResource(const Resource& resource, engine::Resource* message) {
    message->set_id(resource.id);
    const auto& content = resource.content;
    if (const auto* const grammar = std::get_if<GrammarNetwork>(&content)) {
        Pack(*grammar, message->mutable_grammar());
    } else if (const auto* const model = std::get_if<LanguageModel>(&content)) {
        Pack(*model, message->mutable_language_model());
    } else if (const auto* const keywords = std::get_if<KeywordList>(&content)) {
        Pack(*keywords, message->mutable_keywords());
    } else {
        Pack(std::get<UserWords>(content), message->mutable_user_words());
    }
}

ResourcePtr UnpackResource(const engine::Resource& message) {
    auto resource = std::make_shared<Resource>();
    resource->id = message.id();
    if (message.has_grammar()) {
        resource->content = Unpack(message.grammar());
    } else if (message.has_language_model()) {
        resource->content = Unpack(message.language_model());
    } else if (message.has_keywords()) {
        resource->content = Unpack(message.keywords());
    } else {
        resource->content = Unpack(message.user_words());
    }
    return resource;
}

void PackHeard(const Heard& heard, engine::Heard* message) {
    for (const RecognisedSentence& sentence : heard.sentences) {
        Pack(sentence, message->add_sentences());
    }
    for (const FoundKeyword& keyword : heard.keywords) {
        message->add_index(keyword.index);
        message->add_start_ms(keyword.start_ms);
        message->add_end_ms(keyword.end_ms);
        message->add_score(keyword.score);
    }
}

Heard UnpackHeard(const engine::Heard& message) {
    Heard heard;
    for (const engine::Sentence& sentence : message.sentences()) {
        heard.sentences.push_back(Unpack(sentence));
    }
    for (int i = 0; i < message.index_size(); ++i) {
        heard.keywords.push_back(
            {message.index(i), message.start_ms(i), message.end_ms(i), message.score(i)});
    }
    return heard;
}

}  // namespace orvx
