#include "neural/NaiveConvolution.h"

#include <cmath>

namespace vorun::test {
namespace {

std::size_t index(std::int32_t i) {
    return static_cast<std::size_t>(i);
}

/** Zero before the stream and beside its bins. */
double inputAt(const NaiveConvolution& conv, std::int32_t t, std::int32_t bin,
               std::int32_t channel) {
    if (t < 0 || bin < 0 || bin >= conv.height) {
        return 0.0;
    }
    return static_cast<double>(
        conv.stream[index((t * conv.height + bin) * conv.channels + channel)]);
}

double weightAt(const NaiveConvolution& conv, std::int32_t kt, std::int32_t kb, std::int32_t in,
                std::int32_t out) {
    const std::int32_t tap = kt * conv.kernelHeight + kb;
    return static_cast<double>(
        conv.weights[index((tap * conv.kernelIn + in) * conv.kernelOut + out)]);
}

}  // namespace

std::int32_t NaiveConvolution::frames() const {
    return static_cast<std::int32_t>(stream.size()) / (height * channels);
}

bool NaiveConvolution::givesOutput(std::int32_t t) const {
    return t >= lookahead && (t - lookahead) % timeStride == 0;
}

NeuralModel<float> modelOf(const NaiveConvolution& conv) {
    writer::ConvRecord record;
    record.weights = {{conv.kernelFrames, conv.kernelHeight, conv.kernelIn, conv.kernelOut},
                      conv.weights};
    if (!conv.bias.empty()) {
        record.bias = {{conv.kernelOut}, conv.bias};
    }
    record.timeStride = static_cast<std::int8_t>(conv.timeStride);
    record.heightStride = static_cast<std::int8_t>(conv.heightStride);
    record.timeDilation = static_cast<std::int8_t>(conv.timeDilation);
    record.lookahead = static_cast<std::int8_t>(conv.lookahead);
    writer::ModelWriter file;
    file.addConv("conv", "input", record).setOutputSource("conv");
    return loadedModel(file);
}

FloatTensor framesOf(const NaiveConvolution& conv, std::int32_t first, std::int32_t count) {
    const std::int32_t frameVolume = conv.height * conv.channels;
    const auto begin = conv.stream.begin() + first * frameVolume;
    return makeTensor({count, conv.height, conv.channels}, {begin, begin + count * frameVolume});
}

void BoundedSum::add(double term) {
    value += term;
    magnitude += std::fabs(term);
    ++terms;
}

double BoundedSum::singleErrorBound() const {
    const double unit = std::ldexp(1.0, -24);
    const double n = terms + 1;
    return n * unit / (1.0 - n * unit) * magnitude;
}

BoundedSum naiveOutput(const NaiveConvolution& conv, std::int32_t t, std::int32_t o,
                       std::int32_t c) {
    BoundedSum sum;
    sum.add(conv.bias.empty() ? 0.0 : static_cast<double>(conv.bias[index(c)]));
    const std::int32_t bin0 = o * conv.heightStride - (conv.kernelHeight - conv.heightStride) / 2;
    for (std::int32_t kt = 0; kt < conv.kernelFrames; ++kt) {
        const std::int32_t frame = t - (conv.kernelFrames - 1 - kt) * conv.timeDilation;
        for (std::int32_t kb = 0; kb < conv.kernelHeight; ++kb) {
            if (conv.depthwise()) {
                const std::int32_t repeat = conv.kernelOut / conv.channels;
                sum.add(weightAt(conv, kt, kb, 0, c) * inputAt(conv, frame, bin0 + kb, c / repeat));
                continue;
            }
            for (std::int32_t in = 0; in < conv.kernelIn; ++in) {
                sum.add(weightAt(conv, kt, kb, in, c) * inputAt(conv, frame, bin0 + kb, in));
            }
        }
    }
    return sum;
}

}  // namespace vorun::test
