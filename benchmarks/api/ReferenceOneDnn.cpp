#include <algorithm>
#include <dnnl.hpp>
#include <unordered_map>

#include "ReferencePeers.h"
#include "ReferenceWindows.h"

// What omp.h declares: clang-tidy cannot read the header of another compiler.
extern "C" void omp_set_num_threads(int count);

namespace vorun::benchmarks {
namespace {

using dnnl::memory;

/** One layer: its primitive, and what that is called with. */
struct Step {
    dnnl::primitive primitive;
    std::unordered_map<int, memory> arguments;
};

memory::desc describe(const memory::dims& dims, memory::format_tag tag) {
    return {dims, memory::data_type::f32, tag};
}

/** [output channel, input channel, row, bin]; the first row of a transposed kernel is the newest.
 */
std::vector<float> packedWeights(const ReferenceLayer& layer) {
    std::vector<float> packed;
    packed.reserve(layer.weights.size());
    for (std::int32_t out = 0; out < layer.outChannels; ++out) {
        for (std::int32_t in = 0; in < layer.inChannels; ++in) {
            for (std::int32_t i = 0; i < ReferenceLayer::rows; ++i) {
                const std::int32_t row = layer.transposed ? ReferenceLayer::rows - 1 - i : i;
                for (std::int32_t bin = 0; bin < layer.kernelBins; ++bin) {
                    packed.push_back(layer.weights[layer.weightIndex(row, bin, in, out)]);
                }
            }
        }
    }
    return packed;
}

dnnl::primitive_attr attributesOf(Activation activation) {
    dnnl::post_ops after;
    if (activation == Activation::relu) {
        after.append_eltwise(1.0F, dnnl::algorithm::eltwise_relu, 0.0F, 0.0F);
    } else if (activation == Activation::elu) {
        after.append_eltwise(1.0F, dnnl::algorithm::eltwise_elu, 1.0F, 0.0F);
    } else if (activation == Activation::sigmoid) {
        after.append_eltwise(1.0F, dnnl::algorithm::eltwise_logistic, 0.0F, 0.0F);
    }
    dnnl::primitive_attr attributes;
    attributes.set_post_ops(after);
    return attributes;
}

class OneDnnNetwork : public FrameRunner {
  public:
    OneDnnNetwork(const ReferenceNetwork& network, const PlainNetwork& history)
        : network_(network), windows_(network, history) {
        omp_set_num_threads(1);
        for (std::size_t i = 0; i < network_.layers.size(); ++i) {
            outputs_.push_back(outputOf(i));
            if (network_.layers[i].transposed) {
                addLayer<dnnl::deconvolution_forward>(i, dnnl::algorithm::deconvolution_direct);
            } else {
                addLayer<dnnl::convolution_forward>(i, dnnl::algorithm::convolution_direct);
            }
        }
    }

    void run(const float* frame) override {
        windows_.setFrame(frame);
        for (std::size_t i = 0; i < steps_.size(); ++i) {
            windows_.join(i);
            steps_[i].primitive.execute(stream_, steps_[i].arguments);
            spread(i);
        }
    }

    std::span<const float> result() const override { return windows_.result(); }

  private:
    /** Where layer `i` writes: the next window, or a block of its own where that has wider bins. */
    float* outputOf(std::size_t i) {
        const ReferenceLayer& layer = network_.layers[i];
        if (windows_.outStride(i) == static_cast<std::size_t>(layer.outChannels)) {
            return windows_.output(i);
        }
        narrow_.emplace_back(
            describe({1, layer.outChannels, 1, layer.outBins}, memory::format_tag::nhwc), engine_);
        return static_cast<float*>(narrow_.back().get_data_handle());
    }

    /** Brings an output from its own block into the next window. */
    void spread(std::size_t i) {
        const float* in = outputs_[i];
        float* out = windows_.output(i);
        if (in == out) {
            return;
        }
        const auto channels = static_cast<std::size_t>(network_.layers[i].outChannels);
        for (std::int32_t bin = 0; bin < network_.layers[i].outBins; ++bin) {
            std::copy_n(in, channels, out);
            in += channels;
            out += windows_.outStride(i);
        }
    }

    /** Activations in [bin, channel] order, weights in the library's own. */
    template <class Convolution>
    void addLayer(std::size_t i, dnnl::algorithm algorithm) {
        using Tag = memory::format_tag;
        const ReferenceLayer& layer = network_.layers[i];
        constexpr memory::dim rows = ReferenceLayer::rows;
        const memory::dims kernelDims = {layer.outChannels, layer.inChannels, rows,
                                         layer.kernelBins};
        // Of the five rows that three give when transposed, the third is complete.
        const memory::dim overlap = layer.transposed ? rows - 1 : 0;
        const typename Convolution::primitive_desc description(
            {dnnl::prop_kind::forward_inference,
             algorithm,
             describe({1, layer.inChannels, rows, layer.inBins}, Tag::nhwc),
             describe(kernelDims, Tag::any),
             describe({layer.outChannels}, Tag::x),
             describe({1, layer.outChannels, 1, layer.outBins}, Tag::nhwc),
             {1, layer.heightStride},
             {overlap, layer.padding()},
             {overlap, layer.paddingAbove()}},
            attributesOf(layer.activation), engine_);
        memory bias(description.bias_desc(), engine_);
        std::copy(layer.bias.begin(), layer.bias.end(),
                  static_cast<float*>(bias.get_data_handle()));
        steps_.push_back(
            {Convolution(description),
             {{DNNL_ARG_SRC, {description.src_desc(), engine_, windows_.window(i)}},
              {DNNL_ARG_WEIGHTS, reordered(layer, kernelDims, description.weights_desc())},
              {DNNL_ARG_BIAS, bias},
              {DNNL_ARG_DST, {description.dst_desc(), engine_, outputs_[i]}}}});
    }

    memory reordered(const ReferenceLayer& layer, const memory::dims& dims,
                     const memory::desc& wanted) {
        std::vector<float> packed = packedWeights(layer);
        memory plain(describe(dims, memory::format_tag::oihw), engine_, packed.data());
        memory ordered(wanted, engine_);
        dnnl::reorder(plain, ordered).execute(stream_, plain, ordered);
        stream_.wait();
        return ordered;
    }

    dnnl::engine engine_{dnnl::engine::kind::cpu, 0};
    dnnl::stream stream_{engine_};
    ReferenceNetwork network_;
    ReferenceWindows windows_;
    std::vector<memory> narrow_;
    std::vector<float*> outputs_;
    std::vector<Step> steps_;
};

}  // namespace

std::unique_ptr<FrameRunner> makeOneDnnNetwork(const ReferenceNetwork& network,
                                               const PlainNetwork& history) {
    return std::make_unique<OneDnnNetwork>(network, history);
}

}  // namespace vorun::benchmarks
