#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"
#include "neural/layers/ColumnSums.h"
#include "neural/layers/ConvKernel.h"

namespace vorun {

/**
 * A streaming two-dimensional convolution over time and height, one input frame at a time.
 *
 * Time is causal and dilated. Each frame goes into a ring of rows, all zero at first; tap kt of
 * kernelFrames looks (kernelFrames - 1 - kt) * timeDilation frames back. For kernelFrames 3 and
 * timeDilation 2, historyLength is 5 and the taps at frame t are
 *
 *     frame  t-4  t-3  t-2  t-1   t
 *     tap     0         1         2
 *
 * where frame f stands in row f modulo historyLength, so that tap kt finds its row at
 * (kt * timeDilation + t + 1) modulo historyLength.
 *
 * Height is padded with zeros around its centre and may be strided. A time stride makes the layer
 * a decimator: frames between two strides, and those below lookahead, give no output but send a
 * SkipFrame() tick.
 *
 * Kernels with one input channel that meet frames of several are depthwise: each input channel
 * fills kernelOutChannels / channels adjacent ring channels, and ring channel c meets weight c.
 */
template <class T>
class ConvLayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 2;

    /** Throws std::runtime_error for a record whose values cannot be computed with. */
    ConvLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    /**
     * Gives one tensor [1, height / heightStride, kernelOutChannels] for each frame on the stride.
     * The first frame fixes the height of the ring.
     */
    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;
    void ResetState() override;
    std::int32_t GetLatency(std::int32_t scale) override;

  private:
    bool SendsTicks() const override { return timeStride_ > 1 || lookahead_ > 0; }

    void ReadRecord(ModelReader& reader, std::int32_t version);
    void DeriveSizes();
    void CheckSizes() const;
    void ChargeUnbackedSizes(ModelReader& reader) const;

    bool IsDepthwise(std::int32_t channels) const {
        return kernelInChannels_ == 1 && channels != 1;
    }
    void PrepareHistory(std::int32_t height, std::int32_t rowChannels);
    void StoreFrame(const Tensor<T>& input, std::int32_t frame, std::int32_t rowChannels);
    T* RingRow(std::int64_t writtenCount);

    bool FillsRow(const Tensor<T>& input) const;

    bool ConvolveFrame(const Tensor<T>& input, std::int32_t frame);
    bool IsSwallowed() const;
    void PrepareOutput(std::int32_t channels);
    void SumOverRing(bool isDepthwise);
    void CheckChannels(bool isDepthwise) const;
    void SetRows();

    std::int32_t timeStride_ = 1;
    std::int32_t heightStride_ = 1;
    std::int32_t timeDilation_ = 1;
    /** In the record, but no computation reads it: height taps are always adjacent. */
    std::int32_t reservedParameter_ = 0;
    /** Input frames accepted since the last reset. */
    std::int64_t frameCounter_ = 0;
    /** frameCounter_ modulo historyLength_. */
    std::int64_t ringRow_ = 0;
    /** Frames swallowed before the first output, and the phase of the time stride. */
    std::int32_t lookahead_ = 0;
    /** [kernelFrames, kernelHeight, kernelInChannels, kernelOutChannels] */
    Tensor<T> weights_;
    /** kernelOutChannels values, or none. */
    Tensor<T> bias_;
    /** The ring: [historyLength, height, ring channels]. */
    Tensor<T> history_;
    Tensor<T> output_;
    ConvKernel<T> kernel_;
    ColumnSums<T> columnSums_;
    std::int32_t kernelFrames_ = 0;
    std::int32_t historyLength_ = 1;
    std::int32_t kernelHeight_ = 0;
    std::int32_t kernelInChannels_ = 0;
    std::int32_t kernelOutChannels_ = 0;
};

extern template class ConvLayer<float>;

}  // namespace vorun
