#include "restoration/ChannelMatching.h"

#include "foundation/vector/CheckedCall.h"

namespace vorun {

ComplexSignal32 averageChannels(const ComplexSignal32& signal) {
    const std::int32_t length = signal.length();
    ComplexSignal32 average(1, length);
    Ipp32fc* sum = average.channelData(0);
    copySamples(signal.readData(0), sum, length);
    for (std::int32_t channel = 1; channel < signal.channels(); ++channel) {
        checkedCall(length,
                    [&] { return ippsAdd_32fc(signal.readData(channel), sum, sum, length); });
    }
    average.scaleBy({1.0f / static_cast<float>(signal.channels()), 0.0f});
    return average;
}

ComplexSignal32 matchChannels(const ComplexSignal32& signal, std::int32_t channels) {
    if (channels == signal.channels()) {
        return signal;
    }
    ComplexSignal32 mono = signal.channels() < 2 ? signal : averageChannels(signal);
    if (channels < 2) {
        return mono;
    }
    ComplexSignal32 spread(channels, mono.length());
    for (std::int32_t channel = 0; channel < channels; ++channel) {
        copySamples(mono.readData(0), spread.channelData(channel), mono.length());
    }
    return spread;
}

}  // namespace vorun
