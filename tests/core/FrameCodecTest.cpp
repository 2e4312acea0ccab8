#include <google/protobuf/message_lite.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "Footprint.h"
#include "FrameCodec.h"

namespace {

using Status = FrameReader::Status;

std::string Frame(const std::string& body) {
    std::string frame(kFramePrefixBytes, '\0');
    EncodeFramePrefix(static_cast<std::uint32_t>(body.size()), frame.data());
    return frame + body;
}

// Hands bytes over as a socket would: as many as there is room for, again and again.
void Feed(FrameReader& reader, std::string_view bytes) {
    while (!bytes.empty()) {
        const std::span<char> room = reader.WritableArea();
        ASSERT_FALSE(room.empty());
        const std::size_t count = std::min(room.size(), bytes.size());
        std::memcpy(room.data(), bytes.data(), count);
        reader.Commit(count);
        bytes.remove_prefix(count);
    }
}

// A message as large as its size says, without its memory.
class HugeMessage : public google::protobuf::MessageLite {
  public:
    std::string GetTypeName() const override { return "HugeMessage"; }
    MessageLite* New(google::protobuf::Arena*) const override { return nullptr; }
    void Clear() override {}
    bool IsInitialized() const override { return true; }
    void CheckTypeAndMergeFrom(const MessageLite&) override {}
    std::size_t ByteSizeLong() const override { return std::size_t{INT_MAX} + 1; }
    int GetCachedSize() const override { return INT_MIN; }
    std::uint8_t* _InternalSerialize(std::uint8_t* target,
                                     google::protobuf::io::EpsCopyOutputStream*) const override {
        ADD_FAILURE() << "serialised";
        return target;
    }
};

TEST(FrameCodecTest, MessageThatIsTooLargeToSerialise) {
    std::vector<char> frame(99, 'x');
    EXPECT_FALSE(EncodeFrame(HugeMessage(), &frame));
    EXPECT_TRUE(frame.empty());
    EXPECT_EQ(frame.capacity(), 99u) << "nothing was set aside for it";
}

TEST(FrameReaderTest, SplitAtEveryByte) {
    const std::string body("\0\1body\xFF", 7);
    const std::string stream = Frame(body) + Frame("") + "\1";
    const std::size_t first = kFramePrefixBytes + body.size();
    for (std::size_t split = 0; split <= stream.size(); ++split) {
        SCOPED_TRACE(split);
        FrameReader reader;
        Feed(reader, stream.substr(0, split));
        EXPECT_EQ(reader.IsEmpty(), split == 0);
        EXPECT_EQ(reader.GetStatus(), split < first ? Status::kNeedMore : Status::kComplete);
        EXPECT_EQ(split >= first && reader.HasBytesBehindFrame(), split > first);
        Feed(reader, stream.substr(split));
        ASSERT_EQ(reader.GetStatus(), Status::kComplete);
        EXPECT_EQ(reader.Body(), body);
        reader.NextFrame();
        ASSERT_EQ(reader.GetStatus(), Status::kComplete);
        EXPECT_EQ(reader.Body(), "");
        reader.NextFrame();
        EXPECT_EQ(reader.GetStatus(), Status::kNeedMore);
        EXPECT_FALSE(reader.IsEmpty());
    }
}

TEST(FrameReaderTest, GrowsWithWhatArrived) {
    const std::string body(0x308090, 'b');  // a length with high bits in its bytes
    const std::string frame = Frame(body);
    const std::size_t allocated = scripted::BytesInUse();
    FrameReader reader;
    std::size_t arrived = 0;
    while (arrived < frame.size()) {
        ASSERT_EQ(reader.GetStatus(), Status::kNeedMore);
        const std::size_t room = reader.WritableArea().size();
        EXPECT_LE(room, std::max<std::size_t>(std::size_t{64} << 10, 2 * arrived));
        EXPECT_LE(arrived + room, std::max<std::size_t>(std::size_t{64} << 10, frame.size()));
        const std::size_t count = std::min({room, frame.size() - arrived, std::size_t{50000}});
        Feed(reader, std::string_view(frame).substr(arrived, count));
        arrived += count;
    }
    ASSERT_EQ(reader.GetStatus(), Status::kComplete);
    EXPECT_TRUE(reader.Body() == body);
    Feed(reader, "\1");
    reader.NextFrame();
    EXPECT_FALSE(reader.IsEmpty());
    EXPECT_LE(reader.WritableArea().size(), std::size_t{64} << 10) << "a rare size is not kept";
    reader.Clear();
    EXPECT_TRUE(reader.IsEmpty());
    EXPECT_EQ(reader.GetStatus(), Status::kNeedMore);
    EXPECT_LT(scripted::BytesInUse(), allocated + (std::size_t{64} << 10))
        << "a rare size is not kept";
}

}  // namespace
