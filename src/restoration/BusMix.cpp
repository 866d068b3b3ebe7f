#include "foundation/vector/CheckedCall.h"
#include "restoration/ChannelMatching.h"
#include "restoration/MaskShaping.h"
#include "restoration/VorunProcessor.h"

namespace vorun {

namespace {

/** Channels first, first + 1 ... of a spectrum as a signal of their own. */
ComplexSignal32 channelGroup(const ComplexSignal32& spectrum, std::int32_t first,
                             std::int32_t channels) {
    ComplexSignal32 group(channels, spectrum.length());
    for (std::int32_t channel = 0; channel < channels; ++channel) {
        copySamples(spectrum.readData(first + channel), group.channelData(channel),
                    spectrum.length());
    }
    return group;
}

ComplexSignal32 ones(std::int32_t channels, std::int32_t bins) {
    ComplexSignal32 one(channels, bins);
    for (std::int32_t channel = 0; channel < channels; ++channel) {
        checkedCall(bins, [&] {
            return ippsSet_32fc({1.0f, 0.0f}, one.channelData(channel), bins);
        });
    }
    return one;
}

/** Adds, or takes the first of a sum as it is. */
void accumulate(ComplexSignal32& sum, const ComplexSignal32& term) {
    if (!sum.hasBuffer() || sum.length() == 0) {
        sum = term;
    } else {
        sum.add(term);
    }
}

Ipp32fc realFactor(float gain) {
    return {gain, 0.0f};
}

}  // namespace

void VorunProcessor::enqueueOutputs(std::int32_t& frameCounter, std::int32_t count,
                                    const ModelOutputs& outputs) {
    const auto channels = static_cast<std::int32_t>(modelOutputLayout_.speakerIds.size());
    for (const ComplexSignal32& output : outputs) {
        for (std::int32_t k = 0; k < count; ++k) {
            busQueues_.at(static_cast<std::size_t>(frameCounter) + static_cast<std::size_t>(k))
                .push_back(channelGroup(output, k * channels, channels));
        }
    }
    frameCounter += count;
}

/*
 * With D the dry frame, M(i) the buses, S() the shaping by sensitivity and g the gains, q the
 * residual's index:
 *
 *     mask mode      D x (sum of g(i) S(M(i)) + g(q) S(1 - sum of S(M(i))))
 *     spectrum mode  sum of g(i) M(i) + g(q) (D - sum of M(i))
 *
 * The residual is formed before the gains, so that turning a stem down does not move it there.
 */
ComplexSignal32 VorunProcessor::mixFrame() {
    ComplexSignal32 sum;
    ComplexSignal32 mix;
    for (std::size_t i = 0; i < busQueues_.size(); ++i) {
        const ComplexSignal32 bus = shapeForMix(busQueues_[i].front(), i);
        accumulate(sum, bus);
        accumulate(mix, bus.scaled(realFactor(getBusGain(static_cast<std::int32_t>(i)))));
        busQueues_[i].pop_front();
    }
    ComplexSignal32 residual = residualOf(sum);
    residual.scaleBy(realFactor(getBusGain(getOutputBusCount(false))));
    accumulate(mix, residual);
    if (isMaskMode()) {
        mix.multiplyBy(dryQueue_.front());
    }
    dryQueue_.pop_front();
    return mix;
}

ComplexSignal32 VorunProcessor::shapeForMix(const ComplexSignal32& bus, std::size_t index) const {
    const auto hostChannels = static_cast<std::int32_t>(outputLayout.speakerIds.size());
    ComplexSignal32 matched = matchChannels(bus, hostChannels);
    if (!isMaskMode()) {
        return matched;
    }
    return reshapeMask(matched, getBusSensitivity(static_cast<std::int32_t>(index)),
                       {hostChannels, fftSize / 2 + 1});
}

ComplexSignal32 VorunProcessor::residualOf(const ComplexSignal32& sum) const {
    if (!isMaskMode()) {
        return dryQueue_.front().minus(sum);
    }
    const ComplexSignal32 complement = ones(sum.channels(), sum.length()).minus(sum);
    return reshapeMask(complement, getBusSensitivity(getOutputBusCount(false)),
                       {sum.channels(), fftSize / 2 + 1});
}

bool VorunProcessor::isMaskMode() const {
    return models_.front().pipelineMode == 0;
}

}  // namespace vorun
