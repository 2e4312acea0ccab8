// Changes the sample rate of one stream of audio, without a seam where its chunks meet.
#pragma once

#include <memory>
#include <span>
#include <vector>

struct SRC_STATE_tag;

namespace orvx {

class Resampler {
  public:
    // Throws std::runtime_error if libsamplerate refuses.
    Resampler(int from_hz, int to_hz);

    // Appends to `out` what can be computed so far. The filter holds a few milliseconds back until
    // a call says that these samples are the stream's last; nothing may follow that call.
    void Process(std::span<const float> in, bool is_last, std::vector<float>* out);

  private:
    struct Delete {
        void operator()(SRC_STATE_tag* state) const;
    };

    const double ratio_;
    std::unique_ptr<SRC_STATE_tag, Delete> state_;
};

}  // namespace orvx
