#include "restoration/SpectrumCoding.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>

#include "foundation/DenormalGuard.h"
#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"

namespace vorun {

namespace {

/** Strided access to one channel of one frame of a tensor, in which channels lie side by side. */
template <class T>
struct FeatureColumn {
    T* first;
    std::size_t channels;

    T& operator[](std::int32_t row) const {
        return first[static_cast<std::size_t>(row) * channels];
    }
};

/** `lengths` is room for the magnitudes of the bins. */
void codeChannel(const NeuralModel<float>& model, const Ipp32fc* bins, std::int32_t binCount,
                 float* lengths, FeatureColumn<float> rows) {
    const std::int32_t complexBins = model.complexInputBins;
    for (std::int32_t b = 0; b < complexBins; ++b) {
        rows[4 * b] = std::max(0.0f, bins[b].re);
        rows[4 * b + 1] = std::max(0.0f, bins[b].im);
        rows[4 * b + 2] = std::max(0.0f, -bins[b].re);
        rows[4 * b + 3] = std::max(0.0f, -bins[b].im);
    }
    const std::int32_t present = std::min(binCount, model.inputBins) - complexBins;
    checkedCall(present, [&] { return hypotRow(bins + complexBins, lengths, present); });
    for (std::int32_t b = complexBins; b < model.inputBins; ++b) {
        rows[3 * complexBins + b] = b < binCount ? lengths[b - complexBins] : 0.0f;
    }
}

void decodeChannel(const NeuralModel<float>& model, FeatureColumn<const float> rows, Ipp32fc* bins,
                   std::int32_t binCount) {
    const std::int32_t complexBins = model.complexInputBins;
    // Only bins above those of the network take the running level of those below.
    const bool needsLevel = model.enabled && model.inputBins < binCount;
    float level = 0.0f;
    for (std::int32_t b = 0; b < binCount; ++b) {
        Ipp32fc value{level, 0.0f};
        if (b < complexBins) {
            value = {rows[4 * b] - rows[4 * b + 2], rows[4 * b + 1] - rows[4 * b + 3]};
        } else if (b < model.inputBins) {
            value.re = rows[3 * complexBins + b];
        }
        if (needsLevel) {
            level = std::hypot(value.re, value.im) * 0.02f + level * 0.98f;
        }
        bins[b] = value;
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
    std::vector<float> lengths(static_cast<std::size_t>(bins));
    for (const ComplexSignal32& frame : frames) {
        for (std::int32_t channel = 0; channel < channels; ++channel) {
            codeChannel(model, frame.readData(channel), bins, lengths.data(),
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
