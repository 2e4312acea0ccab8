#include "VoiceActivity.h"

#include <algorithm>
#include <cmath>

namespace orvx {
namespace {

constexpr float kLowestDb = -100;
// What is softer than this is never speech, however quiet the background: the noise of the last
// bits of a 16-bit recording lies near -90 dB.
constexpr float kQuietestBackgroundDb = -66;
constexpr float kHysteresisDb = 3;

float ToDb(float power) {
    return power > 1e-10F ? 10 * std::log10(power) : kLowestDb;
}
float ToPower(float db) {
    return std::pow(10.0F, db / 10);
}

}  // namespace

float LevelMeter::Measure(std::span<const std::int16_t> frame) {
    constexpr float kPole = 0.95F;  // a high-pass at 130 Hz
    float power = 0;
    for (const std::int16_t sample : frame) {
        const float in = static_cast<float>(sample) / 32768;
        last_out_ = in - last_in_ + kPole * last_out_;
        last_in_ = in;
        power += last_out_ * last_out_;
    }
    return std::max(kLowestDb, ToDb(power / static_cast<float>(frame.size())));
}

void BackgroundLevel::Update(float level_db) {
    constexpr float kNewShare = 0.25F;  // smooths over some 40 ms, so that no single dip counts
    const float power = ToPower(level_db);
    smooth_power_ = frames_ == 0 ? power : smooth_power_ + kNewShare * (power - smooth_power_);
    const float smooth_db = ToDb(smooth_power_);
    if (frames_ == 0) minima_.fill(smooth_db);
    float& minimum = minima_[frames_ / kBlockFrames % kBlocks];
    minimum = frames_ % kBlockFrames == 0 ? smooth_db : std::min(minimum, smooth_db);
    ++frames_;
    const std::size_t seen = std::min(kBlocks, (frames_ - 1) / kBlockFrames + 1);
    background_db_ =
        std::max(kQuietestBackgroundDb, *std::min_element(minima_.begin(), minima_.begin() + seen));
}

SpeechThreshold::SpeechThreshold(int threshold)
    : is_everything_(threshold <= 1), margin_db_(5 + 35 * static_cast<float>(threshold - 2) / 98) {}

bool SpeechThreshold::StartsSpeech(float level_db, float background_db) const {
    return is_everything_ || level_db > background_db + margin_db_;
}

bool SpeechThreshold::KeepsSpeech(float level_db, float background_db) const {
    return is_everything_ || level_db > background_db + margin_db_ - kHysteresisDb;
}

}  // namespace orvx
