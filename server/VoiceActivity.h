// Tells speech from background by energy: a frame is speech when it lies a margin above the
// background level, which is followed as the lowest level of the last second and a half. Speech
// always dips to the background between words within that time, and steady noise never rises above
// its own level, so neither a calibration phase nor a fixed threshold is needed. (A detector of the
// recogniser's own front end exists, but it moves the times of what follows the silence it cuts.)
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace orvx {

constexpr int kFrameMs = 10;
constexpr std::size_t kFrameSamples = 160;  // at 16 kHz

// The level of each frame of a stream, without the rumble and the offset below the speech band.
class LevelMeter {
  public:
    // In dB relative to full scale; at least -100.
    float Measure(std::span<const std::int16_t> frame);

  private:
    float last_in_ = 0;
    float last_out_ = 0;
};

// The level of the background, from the levels of all frames so far.
class BackgroundLevel {
  public:
    void Update(float level_db);
    float Db() const { return background_db_; }
    // Whether as many frames were seen as the estimate looks back on.
    bool IsSettled() const { return frames_ >= kBlocks * kBlockFrames; }

  private:
    static constexpr std::size_t kBlocks = 8;
    static constexpr std::size_t kBlockFrames = 20;

    std::array<float, kBlocks> minima_{};  // of blocks of 0.2 s; a ring
    std::size_t frames_ = 0;
    float smooth_power_ = 0;
    float background_db_ = 0;
};

// The margins that the task's threshold asks for.
class SpeechThreshold {
  public:
    // 1: every frame is speech. 2..100: from 5 dB to 40 dB above the background.
    explicit SpeechThreshold(int threshold);

    bool StartsSpeech(float level_db, float background_db) const;
    // Lower than what starts it, so that the soft end of a word still belongs to it.
    bool KeepsSpeech(float level_db, float background_db) const;

  private:
    const bool is_everything_;
    const float margin_db_;
};

}  // namespace orvx
