#include "GatheredMessage.h"

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/message_lite.h>
#include <google/protobuf/wire_format_lite.h>

#include <array>
#include <climits>
#include <cstdint>

using google::protobuf::io::CodedInputStream;
using google::protobuf::io::CodedOutputStream;

namespace {

constexpr std::size_t kKeptTextBytes = 4096;

void Empty(std::string* text) {
    text->clear();
    if (text->capacity() > kKeptTextBytes) text->shrink_to_fit();
}

void AppendLength(std::size_t length, std::string* text) {
    std::array<std::uint8_t, 5> varint;
    const std::uint8_t* const end =
        CodedOutputStream::WriteVarint32ToArray(static_cast<std::uint32_t>(length), varint.data());
    text->append(reinterpret_cast<const char*>(varint.data()),
                 static_cast<std::size_t>(end - varint.data()));
}

}  // namespace

void GatheredMessage::Clear() {
    contents_.clear();
    for (std::string& text : texts_) Empty(&text);
    Empty(&skeleton_);
}

bool GatheredMessage::Start(const google::protobuf::MessageLite& message,
                            std::span<const Content> contents) {
    contents_.clear();
    if (texts_.size() <= contents.size()) texts_.resize(contents.size() + 1);
    if (!Serialise(message)) return false;
    std::size_t done = 0;
    for (const auto& [field, bytes] : contents) {
        std::size_t behind_tag = 0;
        if (bytes.size() > INT_MAX || !FindEmpty(field, done, &behind_tag)) return false;
        std::string& text = texts_[contents_.size()];
        text.assign(skeleton_, done, behind_tag - done);
        AppendLength(bytes.size(), &text);
        contents_.push_back(bytes);
        done = behind_tag + 1;  // the length of the empty field
    }
    texts_[contents_.size()].assign(skeleton_, done);
    return true;
}

bool GatheredMessage::Wrap(const google::protobuf::MessageLite& message, int field) {
    if (IsEmpty()) return Start(message, {});
    const std::size_t bytes = Bytes();
    std::size_t behind_tag = 0;
    if (bytes > INT_MAX || !Serialise(message) || !FindEmpty(field, 0, &behind_tag)) return false;
    texts_[contents_.size()].append(skeleton_, behind_tag + 1);
    skeleton_.resize(behind_tag);
    AppendLength(bytes, &skeleton_);
    Prepend(skeleton_);
    return true;
}

bool GatheredMessage::Serialise(const google::protobuf::MessageLite& message) {
    const std::size_t bytes = message.ByteSizeLong();
    if (bytes > INT_MAX || !message.IsInitialized()) return false;
    skeleton_.resize(bytes);
    message.SerializeWithCachedSizesToArray(reinterpret_cast<std::uint8_t*>(skeleton_.data()));
    return true;
}

// Walks over the fields of the skeleton from `from`, where one starts.
bool GatheredMessage::FindEmpty(int field, std::size_t from, std::size_t* behind_tag) const {
    using google::protobuf::internal::WireFormatLite;
    const std::uint32_t wanted =
        WireFormatLite::MakeTag(field, WireFormatLite::WIRETYPE_LENGTH_DELIMITED);
    const std::string_view rest = std::string_view(skeleton_).substr(from);
    CodedInputStream input(reinterpret_cast<const std::uint8_t*>(rest.data()),
                           static_cast<int>(rest.size()));
    while (const std::uint32_t tag = input.ReadTag()) {
        const std::size_t position = from + static_cast<std::size_t>(input.CurrentPosition());
        if (tag == wanted) {
            *behind_tag = position;
            return skeleton_[position] == '\0';
        }
        if (!WireFormatLite::SkipField(&input, tag)) break;
    }
    return false;
}

std::size_t GatheredMessage::Bytes() const {
    std::size_t bytes = TextBytes();
    for (const std::string_view content : contents_) bytes += content.size();
    return bytes;
}

std::size_t GatheredMessage::TextBytes() const {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i <= contents_.size(); ++i) bytes += texts_[i].size();
    return bytes;
}

std::span<std::string_view> GatheredMessage::Pieces() {
    pieces_.clear();
    for (std::size_t i = 0; i < contents_.size(); ++i) {
        pieces_.push_back(texts_[i]);
        pieces_.push_back(contents_[i]);
    }
    pieces_.push_back(texts_[contents_.size()]);
    std::erase_if(pieces_, [](std::string_view piece) { return piece.empty(); });
    return pieces_;
}
