#include <cstddef>
#include <stdexcept>
#include <utility>
#include <vector>

#include "foundation/vector/CheckedCall.h"
#include "restoration/BusRows.h"
#include "restoration/ChannelMatching.h"
#include "restoration/MaskShaping.h"
#include "restoration/VorunProcessor.h"

namespace vorun {

namespace {

/** Channels first, first + 1 ... of a spectrum as a signal of their own. */
ComplexSignal32 channelGroup(const ComplexSignal32& spectrum, std::int32_t first,
                             std::int32_t channels) {
    if (first == 0 && channels == spectrum.channels()) {
        return spectrum;
    }
    ComplexSignal32 group(channels, spectrum.length());
    for (std::int32_t channel = 0; channel < channels; ++channel) {
        copySamples(spectrum.readData(first + channel), group.channelData(channel),
                    spectrum.length());
    }
    return group;
}

/** Mixing walks plain rows, which no signal guards. */
void requireOneShape(const std::vector<ComplexSignal32>& buses, const ComplexSignal32& dry) {
    if (buses.empty()) {
        throw std::runtime_error("a mix needs a bus");
    }
    for (const ComplexSignal32& bus : buses) {
        if (bus.length() != dry.length() || bus.channels() != buses.front().channels()) {
            throw std::runtime_error("buses of one frame have different shapes");
        }
    }
}

std::vector<BusRow> rowsOf(const std::vector<ComplexSignal32>& buses,
                           const std::vector<BusLevel>& levels, std::int32_t channel) {
    std::vector<BusRow> rows;
    rows.reserve(buses.size());
    for (std::size_t i = 0; i < buses.size(); ++i) {
        rows.push_back({buses[i].readData(channel), levels[i]});
    }
    return rows;
}

/** The frame times a mask of as many channels or of one for all. */
ComplexSignal32 masked(const ComplexSignal32& frame, ComplexSignal32 mask, std::int32_t channels) {
    if (mask.channels() == channels) {
        mask.multiplyBy(frame);
        return mask;
    }
    ComplexSignal32 product(channels, mask.length());
    for (std::int32_t channel = 0; channel < channels; ++channel) {
        checkedCall(mask.length(), [&] {
            return ippsMul_32fc(mask.readData(0), frame.readData(channel),
                                product.channelData(channel), mask.length());
        });
    }
    return product;
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

ComplexSignal32 VorunProcessor::mixFrame() {
    const std::vector<BusLevel> levels = readLevels();
    const std::vector<ComplexSignal32> buses = takeBuses();
    const ComplexSignal32& dry = dryQueue_.front();
    requireOneShape(buses, dry);
    ComplexSignal32 mix(buses.front().channels(), dry.length());
    for (std::int32_t channel = 0; channel < mix.channels(); ++channel) {
        const std::vector<BusRow> rows = rowsOf(buses, levels, channel);
        if (isMaskMode()) {
            mixMasks(rows, levels.back(), mix.channelData(channel), mix.length());
        } else {
            mixSpectra(rows, levels.back(), dry.readData(channel), mix.channelData(channel),
                       mix.length());
        }
    }
    if (isMaskMode()) {
        mix = masked(dry, std::move(mix), hostChannels());
    }
    dryQueue_.pop_front();
    return mix;
}

/** The live values of this frame, the residual's last. */
std::vector<BusLevel> VorunProcessor::readLevels() const {
    std::vector<BusLevel> levels;
    const std::int32_t residual = getOutputBusCount(false);
    levels.reserve(static_cast<std::size_t>(residual) + 1);
    for (std::int32_t i = 0; i <= residual; ++i) {
        levels.push_back({getBusGain(i), maskExponent(getBusSensitivity(i))});
    }
    return levels;
}

/** The oldest entry of each queue: spectra at the host's channels, masks before they are spread. */
std::vector<ComplexSignal32> VorunProcessor::takeBuses() {
    const auto match = isMaskMode() ? distinctChannels : matchChannels;
    std::vector<ComplexSignal32> buses;
    buses.reserve(busQueues_.size());
    for (FrameQueue& queue : busQueues_) {
        buses.push_back(match(queue.front(), hostChannels()));
        queue.pop_front();
    }
    return buses;
}

std::int32_t VorunProcessor::hostChannels() const {
    return static_cast<std::int32_t>(outputLayout.speakerIds.size());
}

bool VorunProcessor::isMaskMode() const {
    return models_.front().pipelineMode == 0;
}

}  // namespace vorun
