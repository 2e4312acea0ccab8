// Decodes one stream of audio through libsndfile as its bytes arrive.
//
// One libsndfile instance lives as long as the stream, because some codecs (GSM 6.10, ADPCM) carry
// their state from block to block. libsndfile wants to see a file, so it is shown a virtual one
// that pretends to be very long, and it is never asked for more than the whole blocks that have
// arrived: at a short read it would decode the missing bytes as silence. Decoding a growing buffer
// again for each chunk would need no such care, but its cost grows with the square of the stream's
// length.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "AudioFormat.h"

struct sf_private_tag;

namespace orvx {

class AudioDecoder {
  public:
    // `format` must be one with a decoder.
    explicit AudioDecoder(const AudioFormatInfo& format);
    ~AudioDecoder();
    AudioDecoder(const AudioDecoder&) = delete;
    AudioDecoder& operator=(const AudioDecoder&) = delete;

    // Appends the samples (-1..1, at the format's rate) of every block that is now complete. Bytes
    // of an incomplete block wait for the next call. Throws std::runtime_error if libsndfile fails.
    void Decode(std::string_view bytes, std::vector<float>* samples);

  private:
    class ByteSource;
    struct CloseSndfile {
        void operator()(sf_private_tag* file) const;
    };

    void Open();

    const AudioFormatInfo& format_;
    std::unique_ptr<ByteSource> source_;
    std::unique_ptr<sf_private_tag, CloseSndfile> file_;  // opened when the first block is complete
};

}  // namespace orvx
