#include <algorithm>
#include <bit>
#include <cblas.h>
#include <cstdint>

#include "ReferencePeers.h"
#include "ReferenceWindows.h"

namespace vorun::benchmarks {
namespace {

// A library of matrix products has no activations: these loops are for the compiler to vectorise.
#define VORUN_FOR_EACH_PROCESSOR __attribute__((target_clones("avx512f", "avx2", "default")))

/** e^x for x up to 0, within about 1e-7 of it. */
inline float exponential(float x) {
    constexpr float toPowerOf2 = 1.44269504F;
    constexpr float roundingTerm = 12582912.0F;
    const float limited = std::max(x, -87.0F);
    const float rounded = limited * toPowerOf2 + roundingTerm;
    const float power = rounded - roundingTerm;
    const float rest = limited - power * 0.693359375F + power * 2.12194440e-4F;
    const float series =
        1.0F +
        rest * (1.0F +
                rest * (0.5F + rest * (0.16666667F +
                                       rest * (0.041666667F +
                                               rest * (0.0083333333F + rest * 0.0013888889F)))));
    const std::uint32_t exponent = std::bit_cast<std::uint32_t>(rounded) << 23U;
    return std::bit_cast<float>(std::bit_cast<std::uint32_t>(series) + exponent);
}

VORUN_FOR_EACH_PROCESSOR void applyRelu(float* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = std::max(values[i], 0.0F);
    }
}

VORUN_FOR_EACH_PROCESSOR void applyElu(float* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const float x = values[i];
        const float below = exponential(std::min(x, 0.0F)) - 1.0F;
        values[i] = x > 0.0F ? x : below;
    }
}

VORUN_FOR_EACH_PROCESSOR void applySigmoid(float* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const float x = values[i];
        const float small = exponential(x > 0.0F ? -x : x);
        values[i] = (x > 0.0F ? 1.0F : small) / (1.0F + small);
    }
}

void apply(Activation activation, float* values, std::size_t count) {
    if (activation == Activation::relu) {
        applyRelu(values, count);
    } else if (activation == Activation::elu) {
        applyElu(values, count);
    } else if (activation == Activation::sigmoid) {
        applySigmoid(values, count);
    }
}

/** What one product gives: all output bins, or every stride-th of a transposed layer from `phase`
 * on. Output j of them meets `bins` input bins from j * step + first on. */
struct Patch {
    Patch(const ReferenceLayer& layer, std::int32_t firstOutput) : phase(firstOutput) {
        if (!layer.transposed) {
            for (std::int32_t bin = 0; bin < layer.kernelBins; ++bin) {
                kernelBins.push_back(bin);
            }
            step = layer.heightStride;
            first = -layer.padding();
            outputs = layer.outBins;
            return;
        }
        const std::int32_t stride = layer.heightStride;
        for (std::int32_t bin = layer.kernelBins - 1; bin >= 0; --bin) {
            if ((phase + layer.padding() - bin) % stride == 0) {
                kernelBins.push_back(bin);
            }
        }
        first = (phase + layer.padding() - kernelBins.front()) / stride;
        outputs = (layer.outBins - phase + stride - 1) / stride;
    }

    std::int32_t phase;
    std::vector<std::int32_t> kernelBins;
    std::int32_t step = 1;
    std::int32_t first = 0;
    std::int32_t outputs = 0;
};

/**
 * One product of a layer: a row of `patches` holds all that an output bin meets, row by row of the
 * kernel. Those of the older rows are there from the start; the newest is copied for each frame.
 */
class Product {
  public:
    Product(const ReferenceLayer& layer, std::int32_t phase, const float* window)
        : layer_(layer),
          patch_(layer, phase),
          terms_(static_cast<std::int32_t>(patch_.kernelBins.size()) * layer.inChannels),
          patches_(static_cast<std::size_t>(patch_.outputs * allTerms())) {
        for (std::int32_t row = 0; row < ReferenceLayer::rows; ++row) {
            copyRow(row, window);
            for (const std::int32_t bin : patch_.kernelBins) {
                const auto from = layer.weights.begin() +
                                  static_cast<std::ptrdiff_t>(layer.weightIndex(row, bin, 0, 0));
                weights_.insert(weights_.end(), from, from + layer.inChannels * layer.outChannels);
            }
        }
    }

    void copyNewest(const float* window) { copyRow(ReferenceLayer::rows - 1, window); }

    /** Adds to what `output` holds, with `outStride` floats from bin to bin. */
    void add(float* output, std::int32_t outStride) const {
        float* const to = output + patch_.phase * outStride;
        const std::int32_t next = (layer_.transposed ? layer_.heightStride : 1) * outStride;
        if (layer_.outChannels == 1) {
            cblas_sgemv(CblasRowMajor, CblasNoTrans, patch_.outputs, allTerms(), 1.0F,
                        patches_.data(), allTerms(), weights_.data(), 1, 1.0F, to, next);
            return;
        }
        cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, patch_.outputs, layer_.outChannels,
                    allTerms(), 1.0F, patches_.data(), allTerms(), weights_.data(),
                    layer_.outChannels, 1.0F, to, next);
    }

  private:
    std::int32_t allTerms() const { return ReferenceLayer::rows * terms_; }

    void copyRow(std::int32_t row, const float* window) {
        const float* const from = window + static_cast<std::size_t>(row) * layer_.inSize();
        const auto bins = static_cast<std::int32_t>(patch_.kernelBins.size());
        float* to = patches_.data() + row * terms_;
        for (std::int32_t i = 0; i < patch_.outputs; ++i) {
            // What lies outside stays zero.
            const std::int32_t begin = i * patch_.step + patch_.first;
            const std::int32_t inside = std::max(begin, 0);
            const std::int32_t end = std::min(begin + bins, layer_.inBins);
            std::copy_n(from + inside * layer_.inChannels, (end - inside) * layer_.inChannels,
                        to + (inside - begin) * layer_.inChannels);
            to += allTerms();
        }
    }

    const ReferenceLayer& layer_;
    Patch patch_;
    std::int32_t terms_;
    AlignedFloats patches_;
    AlignedFloats weights_;
};

class OpenBlasNetwork : public FrameRunner {
  public:
    OpenBlasNetwork(const ReferenceNetwork& network, const PlainNetwork& history)
        : network_(network), windows_(network, history), products_(network.layers.size()) {
        openblas_set_num_threads(1);
        for (std::size_t i = 0; i < network_.layers.size(); ++i) {
            const ReferenceLayer& layer = network_.layers[i];
            const std::int32_t phases = layer.transposed ? layer.heightStride : 1;
            for (std::int32_t phase = 0; phase < phases; ++phase) {
                products_[i].emplace_back(layer, phase, windows_.window(i));
            }
        }
    }

    void run(const float* frame) override {
        windows_.setFrame(frame);
        for (std::size_t i = 0; i < products_.size(); ++i) {
            windows_.join(i);
            setBias(i);
            for (Product& product : products_[i]) {
                product.copyNewest(windows_.window(i));
                product.add(windows_.output(i), static_cast<std::int32_t>(windows_.outStride(i)));
            }
            activate(i);
        }
    }

    std::span<const float> result() const override { return windows_.result(); }

  private:
    void setBias(std::size_t i) {
        const ReferenceLayer& layer = network_.layers[i];
        float* out = windows_.output(i);
        for (std::int32_t bin = 0; bin < layer.outBins; ++bin) {
            std::copy(layer.bias.begin(), layer.bias.end(), out);
            out += windows_.outStride(i);
        }
    }

    void activate(std::size_t i) {
        const ReferenceLayer& layer = network_.layers[i];
        const auto channels = static_cast<std::size_t>(layer.outChannels);
        float* out = windows_.output(i);
        if (windows_.outStride(i) == channels) {
            apply(layer.activation, out, layer.outSize());
            return;
        }
        for (std::int32_t bin = 0; bin < layer.outBins; ++bin) {
            apply(layer.activation, out, channels);
            out += windows_.outStride(i);
        }
    }

    ReferenceNetwork network_;
    ReferenceWindows windows_;
    std::vector<std::vector<Product>> products_;
};

}  // namespace

std::unique_ptr<FrameRunner> makeOpenBlasNetwork(const ReferenceNetwork& network,
                                                 const PlainNetwork& history) {
    return std::make_unique<OpenBlasNetwork>(network, history);
}

}  // namespace vorun::benchmarks
