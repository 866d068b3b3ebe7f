#include "restoration/SpectrumCoding.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>

#include "foundation/DenormalGuard.h"
#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "restoration/BinBlocks.h"

namespace vorun {

namespace {

/** One channel of one frame of a tensor, row by row; the channels lie side by side. */
template <class T>
class FeatureColumn {
  public:
    FeatureColumn(T* first, std::size_t channels) : first_(first), channels_(channels) {}

    void put(float value) {
        first_[offset_] = value;
        offset_ += channels_;
    }

    float take() {
        const float value = first_[offset_];
        offset_ += channels_;
        return value;
    }

  private:
    T* first_;
    std::size_t channels_;
    std::size_t offset_ = 0;
};

/** 0 for a NaN as well. */
float positivePart(float value) {
    return value > 0.0f ? value : 0.0f;
}

using Lengths = std::array<float, blockBins>;

void codeChannel(const NeuralModel<float>& model, const Ipp32fc* bins, std::int32_t binCount,
                 FeatureColumn<float> rows) {
    const std::int32_t complexBins = model.complexInputBins;
    for (std::int32_t b = 0; b < complexBins; ++b) {
        const Ipp32fc bin = bins[b];
        rows.put(positivePart(bin.re));
        rows.put(positivePart(bin.im));
        rows.put(positivePart(-bin.re));
        rows.put(positivePart(-bin.im));
    }
    const std::int32_t present = std::min(binCount, model.inputBins);
    inBlocks(present - complexBins, [&](std::int32_t first, std::int32_t count) {
        Lengths lengths;
        checkStatus(hypotRow(bins + complexBins + first, lengths.data(), count));
        for (std::int32_t i = 0; i < count; ++i) {
            rows.put(lengths[static_cast<std::size_t>(i)]);
        }
    });
    for (std::int32_t b = present; b < model.inputBins; ++b) {
        rows.put(0.0f);
    }
}

/** A one-pole smoother along frequency over magnitudes, from 0 on. */
float nextLevel(float level, float magnitude) {
    return magnitude * 0.02f + level * 0.98f;
}

float levelAbove(const Ipp32fc* bins, std::int32_t binCount) {
    float level = 0.0f;
    inBlocks(binCount, [&](std::int32_t first, std::int32_t count) {
        Lengths lengths;
        checkStatus(hypotRow(bins + first, lengths.data(), count));
        for (std::int32_t i = 0; i < count; ++i) {
            level = nextLevel(level, lengths[static_cast<std::size_t>(i)]);
        }
    });
    return level;
}

/** Each of these bins takes the level and feeds it. Once that leaves it as it is, it stays so. */
void fillTail(Ipp32fc* bins, std::int32_t binCount, float level) {
    std::int32_t b = 0;
    for (bool moves = true; moves && b < binCount; ++b) {
        bins[b] = {level, 0.0f};
        const float next = nextLevel(level, level);
        moves = next != level;
        level = next;
    }
    std::fill(bins + b, bins + binCount, Ipp32fc{level, 0.0f});
}

void decodeChannel(const NeuralModel<float>& model, FeatureColumn<const float> rows, Ipp32fc* bins,
                   std::int32_t binCount) {
    const std::int32_t complexBins = model.complexInputBins;
    for (std::int32_t b = 0; b < complexBins; ++b) {
        const float re = rows.take();
        const float im = rows.take();
        const float minusRe = rows.take();
        const float minusIm = rows.take();
        bins[b] = {re - minusRe, im - minusIm};
    }
    const std::int32_t covered = std::min(model.inputBins, binCount);
    for (std::int32_t b = complexBins; b < covered; ++b) {
        bins[b] = {rows.take(), 0.0f};
    }
    if (covered < binCount) {
        const float level = model.enabled ? levelAbove(bins, covered) : 0.0f;
        fillTail(bins + covered, binCount - covered, level);
    }
}

/** The walks below are plain loops, which no vector primitive guards against a failed allocation.
 */
template <class T>
T* requireBlock(T* block) {
    if (block == nullptr) {
        checkStatus(ippStsNullPtrErr);
    }
    return block;
}

/** The coding walks whole bins, so the complex ones must all lie below inputBins and the frame's.
 */
void requireComplexBins(const NeuralModel<float>& model, std::int32_t binCount) {
    if (model.complexInputBins < 0 || model.complexInputBins > model.inputBins ||
        model.complexInputBins > binCount) {
        throw std::runtime_error("complex bins of the model do not fit the frame");
    }
}

void requirePromisedShape(const NeuralModel<float>& model, const Tensor<float>& tensor) {
    if (tensor.dim(1) < featureRows(model) ||
        tensor.dim(2) < model.maskCount * model.outputChannels) {
        throw std::runtime_error("result of the network is smaller than its header promises");
    }
}

void requireOneShape(const std::vector<ComplexSignal32>& frames) {
    const auto differs = [&](const ComplexSignal32& frame) {
        return frame.channels() != frames.front().channels() ||
               frame.length() != frames.front().length();
    };
    if (std::any_of(frames.begin(), frames.end(), differs)) {
        throw std::runtime_error("frames of one tensor have different shapes");
    }
}

}  // namespace

std::int32_t featureRows(const NeuralModel<float>& model) {
    return model.inputBins + 3 * model.complexInputBins;
}

Tensor<float> spectrumToTensor(const NeuralModel<float>& model,
                               const std::vector<ComplexSignal32>& frames) {
    if (frames.empty()) {
        return {};
    }
    requireOneShape(frames);
    const std::int32_t channels = frames.front().channels();
    const std::int32_t bins = frames.front().length();
    const std::int32_t rows = featureRows(model);
    requireComplexBins(model, bins);
    Tensor<float> tensor({static_cast<std::int32_t>(frames.size()), rows, channels});
    if (tensor.volume() == 0) {
        return tensor;
    }
    float* target = requireBlock(tensor.data());
    for (const ComplexSignal32& frame : frames) {
        for (std::int32_t channel = 0; channel < channels; ++channel) {
            codeChannel(model, frame.readData(channel), bins,
                        {target + channel, static_cast<std::size_t>(channels)});
        }
        target += static_cast<std::size_t>(rows) * static_cast<std::size_t>(channels);
    }
    return tensor;
}

std::vector<ComplexSignal32> tensorToSpectra(const NeuralModel<float>& model,
                                             const Tensor<float>& tensor, std::int32_t bins) {
    if (tensor.volume() == 0) {
        return {};
    }
    requireComplexBins(model, bins);
    requirePromisedShape(model, tensor);
    const auto channels = static_cast<std::size_t>(tensor.dim(2));
    const float* source = requireBlock(tensor.readData());
    std::vector<ComplexSignal32> spectra;
    for (std::int32_t t = 0; t < tensor.dim(0); ++t) {
        ComplexSignal32 spectrum(tensor.dim(2), bins);
        for (std::int32_t channel = 0; channel < tensor.dim(2); ++channel) {
            decodeChannel(model, {source + channel, channels}, spectrum.channelData(channel), bins);
        }
        spectra.push_back(std::move(spectrum));
        source += static_cast<std::size_t>(tensor.dim(1)) * channels;
    }
    return spectra;
}

std::vector<ComplexSignal32> evaluateModel(NeuralModel<float>& model,
                                           const ComplexSignal32& frame) {
    const DenormalGuard guard;
    const Tensor<float> features = spectrumToTensor(model, {frame});
    model.input->AddTensor(features, nullptr);
    return tensorToSpectra(model, model.output->TakeResult(), frame.length());
}

}  // namespace vorun
