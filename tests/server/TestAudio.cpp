#include "TestAudio.h"

#include <samplerate.h>
#include <sndfile.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

namespace orvx::test {
namespace {

const std::string kFolder = "/usr/share/pocketsphinx/test/data/";
constexpr std::size_t kWavHeaderBytes = 44;

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("no recording " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<float> Resample(const Samples& samples, int rate_hz) {
    std::vector<float> in(samples.size());
    src_short_to_float_array(samples.data(), in.data(), static_cast<int>(in.size()));
    if (rate_hz == 16000) return in;
    std::vector<float> out(in.size());
    SRC_DATA data{};
    data.data_in = in.data();
    data.input_frames = data.output_frames = static_cast<long>(in.size());
    data.data_out = out.data();
    data.src_ratio = rate_hz / 16000.0;
    if (src_simple(&data, SRC_SINC_BEST_QUALITY, 1) != 0) throw std::runtime_error("src_simple");
    out.resize(static_cast<std::size_t>(data.output_frames_gen));
    return out;
}

}  // namespace

Samples Load(const std::string& file) {
    std::string bytes = ReadFile(kFolder + file);
    if (file.ends_with(".wav")) bytes.erase(0, kWavHeaderBytes);
    Samples samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

Samples Silence(int ms) {
    return Samples(static_cast<std::size_t>(ms) * 16);
}

Samples Noise(int ms, double level_db) {
    std::mt19937 random(1);
    std::normal_distribution<double> gauss(0, 32768 * std::pow(10, level_db / 20));
    Samples samples = Silence(ms);
    for (std::int16_t& sample : samples) {
        sample = static_cast<std::int16_t>(std::clamp(gauss(random), -32768.0, 32767.0));
    }
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
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        a[i] = static_cast<std::int16_t>(std::clamp(a[i] + b[i], -32768, 32767));
    }
    return a;
}

double PowerDb(const Samples& samples) {
    double power = 1e-9;
    for (const std::int16_t sample : samples) power += std::pow(sample / 32768.0, 2);
    return 10 * std::log10(power / static_cast<double>(samples.size()));
}

std::string Encode(const Samples& samples, AudioFormat format) {
    const AudioFormatInfo& description = DescribeAudioFormat(format);
    const std::vector<float> signal = Resample(samples, description.sample_rate_hz);
    SF_INFO info{};
    info.samplerate = description.sample_rate_hz;
    info.channels = 1;
    info.format = SF_FORMAT_RAW | description.sndfile_format;
    const int memory = ::memfd_create("encoded", MFD_CLOEXEC);
    SNDFILE* const file = sf_open_fd(memory, SFM_WRITE, &info, SF_FALSE);
    if (file == nullptr) throw std::runtime_error(sf_strerror(nullptr));
    sf_write_float(file, signal.data(), static_cast<sf_count_t>(signal.size()));
    sf_close(file);
    std::string bytes = ReadFile("/proc/self/fd/" + std::to_string(memory));
    ::close(memory);
    return bytes;
}

std::string Bytes(const Samples& samples) {
    return {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof samples[0]};
}

}  // namespace orvx::test
