// A serialised message whose bulk stays where it is.
//
// The idea: a message is serialised by its own class with its bulky fields present but empty, and
// what belongs there is put between the serialised bytes on the way to the socket. So a minute of
// audio is never copied, and the message class stays the one definition of the format. Copying the
// audio into the message, its bytes into the message around it, and those into a frame was
// rejected: three copies and 6 MB of fresh memory for each minute. Writing all tags and lengths by
// hand was rejected too: that would be a second definition of the format.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace google::protobuf {
class MessageLite;
}

// Not for use by two threads at once. Memory for what surrounds the bulk is kept between messages.
class GatheredMessage {
  public:
    struct Content {
        int field;               // number of a string, bytes or message field
        std::string_view bytes;  // borrowed until the next Start or Clear
    };

    // Holds nothing any more; gives memory back that uncommonly long texts have taken.
    void Clear();

    // Becomes `message` with the content of these of its fields, each of which is present and empty
    // in `message`; in the order of the field numbers. False if one is not, or if the message
    // cannot be serialised.
    bool Start(const google::protobuf::MessageLite& message, std::span<const Content> contents);

    // Becomes `message` with all that was gathered so far as the content of `field`, which is
    // present and empty in `message`; `message` alone if nothing was gathered. False as above, or
    // when what was gathered is larger than a field may be (INT_MAX bytes).
    bool Wrap(const google::protobuf::MessageLite& message, int field);

    std::size_t Bytes() const;
    // What surrounds the bulk.
    std::size_t TextBytes() const;
    bool IsEmpty() const { return Bytes() == 0; }

    // Puts a few bytes before all that was gathered.
    void Prepend(std::string_view bytes) { texts_[0].insert(0, bytes); }

    // All in order, in pieces none of which is empty. The caller may change the list; the bytes are
    // valid until the next change of the message.
    std::span<std::string_view> Pieces();

  private:
    bool Serialise(const google::protobuf::MessageLite& message);
    bool FindEmpty(int field, std::size_t from, std::size_t* behind_tag) const;

    // texts_[0], contents_[0], texts_[1], contents_[1], ..., texts_[contents_.size()]. Texts behind
    // that one only keep their memory.
    std::vector<std::string> texts_{1};
    std::vector<std::string_view> contents_;
    std::string skeleton_;  // the message at hand, serialised without its bulk
    std::vector<std::string_view> pieces_;
};
