// The formats of resources by their short names.
#pragma once

#include "LexoMessage.pb.h"

namespace orvx {

using ResourceFormat = quorlan::protocol::LexoRequestMessage::ResourceFormat;

constexpr auto kKeywordList = quorlan::protocol::LexoRequestMessage::LEXO_RESOURCE_KEYWORD_LIST;
constexpr auto kWordList = quorlan::protocol::LexoRequestMessage::LEXO_RESOURCE_GRAMMAR_WORDLIST;
constexpr auto kAbnf = quorlan::protocol::LexoRequestMessage::LEXO_RESOURCE_GRAMMAR_ABNF;
constexpr auto kJsgf = quorlan::protocol::LexoRequestMessage::LEXO_RESOURCE_GRAMMAR_JSGF;
constexpr auto kArpa = quorlan::protocol::LexoRequestMessage::LEXO_RESOURCE_GRAMMAR_ARPA;
constexpr auto kWfst = quorlan::protocol::LexoRequestMessage::LEXO_RESOURCE_GRAMMAR_WFST;
constexpr auto kUserWords = quorlan::protocol::LexoRequestMessage::LEXO_RESOURCE_FREETALK_USERWORD;

}  // namespace orvx
