#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"
#include "neural/layers/FrameShape.h"

namespace vorun {

/**
 * Smooths every channel alike with two fixed filters, first over time, then over height. No
 * channels are mixed, so that one call covers all channels of all bins.
 *
 * Frame t stands in row t modulo timeTaps of a ring that starts all zero, and is there before the
 * filter runs. Time tap k reads row (t - 1 + timeTaps - k) modulo timeTaps, so that it meets the
 * frames, for timeTaps 3, in this order:
 *
 *     tap     0     1     2
 *     frame  t-1   t-2    t
 *
 * The last tap's frame has just left the ring, and the current one stands in its place.
 *
 *     out[b] = sum over j of heightKernel[j] * smoothed[b - (j - half)],  half = (heightTaps - 1) /
 * 2
 *
 * with zeros beside the bins. The first (timeTaps + 1) / 2 - 1 frames go nowhere, without a tick,
 * and that delay is no part of the model's latency.
 */
template <class T>
class SeparableChannelConvLayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 15;

    /** Throws std::runtime_error for a kernel whose first dimension is no length of its values. */
    SeparableChannelConvLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    /**
     * Gives one tensor [1, height, channels] for each frame once warmed up. The first input fixes
     * the size of the ring; throws std::runtime_error for a larger frame.
     */
    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;
    void ResetState() override;

  private:
    void Prepare(const FrameShape& shape);
    void StoreFrame(const T* frame, const FrameShape& shape);
    void FilterTime(const FrameShape& shape);
    void FilterHeight(const FrameShape& shape);
    void AddHeightTap(std::int32_t tap, std::int64_t offset, const FrameShape& shape);
    T* RingRow(std::int64_t row);
    bool IsWarm() const { return frameCounter_ >= (std::int64_t{timeTaps_} + 1) / 2 - 1; }

    /** [timeTaps] */
    Tensor<T> timeKernel_;
    /** [heightTaps] */
    Tensor<T> heightKernel_;
    Tensor<T> output_;
    /** The ring: [timeTaps, height, channels]. */
    Tensor<T> history_;
    /** One frame behind the time filter. */
    Tensor<T> smoothed_;
    /** Frames since the last reset. Counts in 64 bits: a broadcast runs for longer than 32 last. */
    std::int64_t frameCounter_ = 0;
    std::int32_t timeTaps_ = 0;
    std::int32_t heightTaps_ = 0;
};

extern template class SeparableChannelConvLayer<float>;

}  // namespace vorun
