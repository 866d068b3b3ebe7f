// The noise suppression of webrtc-audio-processing through one function in C.

#include <algorithm>
#include <memory>
#include <vector>
#include <webrtc/modules/audio_processing/include/audio_processing.h>
#include <webrtc/modules/interface/module_common_types.h>

/**
 * Suppresses noise in `samples`, in place, at level "high". `count` is a multiple of 10 ms of
 * `sampleRate`: 8, 16, 32 or 48 kHz. Returns 0, or what the library says is wrong.
 */
extern "C" int suppressNoise(float* samples, int count, int sampleRate) {
    const std::unique_ptr<webrtc::AudioProcessing> processing(webrtc::AudioProcessing::Create());
    if (!processing) {
        return -1;
    }
    processing->noise_suppression()->set_level(webrtc::NoiseSuppression::kHigh);
    processing->noise_suppression()->Enable(true);
    const webrtc::StreamConfig mono(sampleRate, 1, false);
    const int frame = sampleRate / 100;
    std::vector<float> result(static_cast<std::size_t>(frame));
    for (int start = 0; start + frame <= count; start += frame) {
        float* in = samples + start;
        float* out = result.data();
        const int error = processing->ProcessStream(&in, mono, mono, &out);
        if (error != 0) {
            return error;
        }
        std::copy(result.begin(), result.end(), in);
    }
    return 0;
}
