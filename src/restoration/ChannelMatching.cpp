#include "restoration/ChannelMatching.h"

#include "foundation/vector/CheckedCall.h"

namespace vorun {

ComplexSignal32 averageChannels(const ComplexSignal32& signal) {
    const std::int32_t length = signal.length();
    ComplexSignal32 average(1, length);
    Ipp32fc* target = average.channelData(0);
    const Ipp32fc* sum = signal.readData(0);
    for (std::int32_t channel = 1; channel < signal.channels(); ++channel) {
        checkedCall(length,
                    [&] { return ippsAdd_32fc(signal.readData(channel), sum, target, length); });
        sum = target;
    }
    const Ipp32fc share{1.0f / static_cast<float>(signal.channels()), 0.0f};
    checkedCall(length, [&] { return ippsMulC_32fc(sum, share, target, length); });
    return average;
}

ComplexSignal32 distinctChannels(const ComplexSignal32& signal, std::int32_t channels) {
    const bool isItself = channels == signal.channels() || signal.channels() < 2;
    return isItself ? signal : averageChannels(signal);
}

ComplexSignal32 matchChannels(const ComplexSignal32& signal, std::int32_t channels) {
    ComplexSignal32 distinct = distinctChannels(signal, channels);
    if (channels == signal.channels() || channels < 2) {
        return distinct;
    }
    ComplexSignal32 spread(channels, distinct.length());
    for (std::int32_t channel = 0; channel < channels; ++channel) {
        copySamples(distinct.readData(0), spread.channelData(channel), distinct.length());
    }
    return spread;
}

}  // namespace vorun
