#include <limits>
#include <stdexcept>
#include <xnnpack.h>

#include "ReferencePeers.h"
#include "ReferenceWindows.h"

namespace vorun::benchmarks {
namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

void check(xnn_status status) {
    if (status != xnn_status_success) {
        throw std::runtime_error("XNNPACK refuses a reference network");
    }
}

struct DeleteOperator {
    void operator()(xnn_operator_t made) const { xnn_delete_operator(made); }
};
using Operator = std::unique_ptr<xnn_operator, DeleteOperator>;

/** [output channel, row, bin, input channel]; the first row of a transposed kernel is the newest.
 */
std::vector<float> packedWeights(const ReferenceLayer& layer) {
    std::vector<float> packed;
    packed.reserve(layer.weights.size());
    for (std::int32_t out = 0; out < layer.outChannels; ++out) {
        for (std::int32_t i = 0; i < ReferenceLayer::rows; ++i) {
            const std::int32_t row = layer.transposed ? ReferenceLayer::rows - 1 - i : i;
            for (std::int32_t bin = 0; bin < layer.kernelBins; ++bin) {
                for (std::int32_t in = 0; in < layer.inChannels; ++in) {
                    packed.push_back(layer.weights[layer.weightIndex(row, bin, in, out)]);
                }
            }
        }
    }
    return packed;
}

/** One layer's sizes as the library's calls take them. */
struct Sizes {
    explicit Sizes(const ReferenceLayer& layer)
        : kernelBins(static_cast<std::uint32_t>(layer.kernelBins)),
          below(static_cast<std::uint32_t>(layer.padding())),
          above(static_cast<std::uint32_t>(layer.paddingAbove())),
          stride(static_cast<std::uint32_t>(layer.heightStride)),
          in(static_cast<std::size_t>(layer.inChannels)),
          out(static_cast<std::size_t>(layer.outChannels)),
          inBins(static_cast<std::size_t>(layer.inBins)),
          outBins(static_cast<std::size_t>(layer.outBins)),
          // The sums are limited below; a ReLU so costs nothing.
          lowest(layer.activation == Activation::relu ? 0.0F : -infinity) {}

    std::uint32_t kernelBins;
    std::uint32_t below;
    std::uint32_t above;
    std::uint32_t stride;
    std::size_t in;
    std::size_t out;
    std::size_t inBins;
    std::size_t outBins;
    float lowest;
};

Operator makeConvolution(const ReferenceLayer& layer, const float* window, float* output,
                         std::size_t outStride) {
    const Sizes s(layer);
    const std::vector<float> weights = packedWeights(layer);
    constexpr std::uint32_t rows = ReferenceLayer::rows;
    xnn_operator_t made = nullptr;
    if (layer.transposed) {
        // Of the five rows that three give, the third is complete.
        check(xnn_create_deconvolution2d_nhwc_f32(rows - 1, s.above, rows - 1, s.below, rows,
                                                  s.kernelBins, 1, s.stride, 1, 1, 1, s.in, s.out,
                                                  s.in, outStride, weights.data(),
                                                  layer.bias.data(), s.lowest, infinity, 0, &made));
        Operator owned(made);
        check(xnn_setup_deconvolution2d_nhwc_f32(made, 1, rows, s.inBins, 0, 0, window, output,
                                                 nullptr));
        return owned;
    }
    check(xnn_create_convolution2d_nhwc_f32(0, s.above, 0, s.below, rows, s.kernelBins, 1, s.stride,
                                            1, 1, 1, s.in, s.out, s.in, outStride, weights.data(),
                                            layer.bias.data(), s.lowest, infinity, 0, &made));
    Operator owned(made);
    check(xnn_setup_convolution2d_nhwc_f32(made, 1, rows, s.inBins, window, output, nullptr));
    return owned;
}

/** In place; none for what the convolution does itself. */
Operator makeActivation(const ReferenceLayer& layer, float* output, std::size_t outStride) {
    const Sizes s(layer);
    xnn_operator_t made = nullptr;
    if (layer.activation == Activation::elu) {
        check(xnn_create_elu_nc_f32(s.out, outStride, outStride, 1.0F, 0, &made));
        Operator owned(made);
        check(xnn_setup_elu_nc_f32(made, s.outBins, output, output, nullptr));
        return owned;
    }
    if (layer.activation == Activation::sigmoid) {
        check(xnn_create_sigmoid_nc_f32(s.out, outStride, outStride, 0, &made));
        Operator owned(made);
        check(xnn_setup_sigmoid_nc_f32(made, s.outBins, output, output, nullptr));
        return owned;
    }
    return nullptr;
}

class XnnpackNetwork : public FrameRunner {
  public:
    XnnpackNetwork(const ReferenceNetwork& network, const PlainNetwork& history)
        : windows_(network, history) {
        check(xnn_initialize(nullptr));
        for (std::size_t i = 0; i < network.layers.size(); ++i) {
            const ReferenceLayer& layer = network.layers[i];
            float* output = windows_.output(i);
            const std::size_t stride = windows_.outStride(i);
            convolutions_.push_back(makeConvolution(layer, windows_.window(i), output, stride));
            activations_.push_back(makeActivation(layer, output, stride));
        }
    }

    void run(const float* frame) override {
        windows_.setFrame(frame);
        for (std::size_t i = 0; i < convolutions_.size(); ++i) {
            windows_.join(i);
            check(xnn_run_operator(convolutions_[i].get(), nullptr));
            if (activations_[i]) {
                check(xnn_run_operator(activations_[i].get(), nullptr));
            }
        }
    }

    std::span<const float> result() const override { return windows_.result(); }

  private:
    ReferenceWindows windows_;
    std::vector<Operator> convolutions_;
    std::vector<Operator> activations_;
};

}  // namespace

std::unique_ptr<FrameRunner> makeXnnpackNetwork(const ReferenceNetwork& network,
                                                const PlainNetwork& history) {
    return std::make_unique<XnnpackNetwork>(network, history);
}

}  // namespace vorun::benchmarks
