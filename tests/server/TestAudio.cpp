#include "TestAudio.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "TempDir.h"

namespace orvx::test {
namespace {

const std::string kFolder = "/usr/share/pocketsphinx/test/data/";
constexpr std::size_t kWavHeaderBytes = 44;

}  // namespace

Samples Load(const std::string& file) {
    std::string bytes = ReadAll(kFolder + file);
    if (file.ends_with(".wav")) bytes.erase(0, kWavHeaderBytes);
    return FromBytes(bytes);
}

Samples Silence(int ms) {
    return Samples(static_cast<std::size_t>(ms) * 16);
}

Samples Noise(int ms, double level_db) {
    std::mt19937 random(1);
    std::normal_distribution<double> gauss(0, 32768 * std::pow(10, level_db / 20));
    Samples samples = Silence(ms);
    for (std::int16_t& sample : samples)
        sample = static_cast<std::int16_t>(std::clamp(gauss(random), -32768.0, 32767.0));
    return samples;
}

Samples Syllables(int ms) {
    Samples samples = Noise(ms, -20);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::size_t ms_in_pair = i / 16 % 250;
        if (ms_in_pair >= 90 && ms_in_pair < 160) samples[i] = 0;
    }
    return samples;
}

Samples Join(std::initializer_list<Samples> parts) {
    Samples all;
    for (const Samples& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

Samples Mix(Samples a, const Samples& b) {
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        a[i] = static_cast<std::int16_t>(std::clamp(a[i] + b[i], -32768, 32767));
    return a;
}

double PowerDb(const Samples& samples) {
    double power = 1e-9;
    for (const std::int16_t sample : samples) power += std::pow(sample / 32768.0, 2);
    return 10 * std::log10(power / static_cast<double>(samples.size()));
}

std::string Encode(const Samples& samples, AudioFormat format) {
    const AudioFormatInfo& info = DescribeAudioFormat(format);
    const TempDir dir;
    WriteSound(dir.Path("raw"), SF_FORMAT_RAW | info.sndfile_format, info.sample_rate_hz, 1,
               samples);
    return ReadAll(dir.Path("raw"));
}

}  // namespace orvx::test
