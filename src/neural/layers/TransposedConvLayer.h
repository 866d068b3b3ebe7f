#pragma once

#include <cstdint>
#include <vector>

#include "neural/BaseLayer.h"
#include "neural/FrameQueue.h"
#include "neural/layers/TransposedGather.h"
#include "neural/layers/TransposedKernel.h"

namespace vorun {

/**
 * The mirror of ConvLayer: each input frame is scattered over the output frames that its kernel
 * reaches. A time stride of n makes n frames of one, a height stride of n makes n bins of one.
 *
 * Either a frame is added to the sums of all open output frames, or each output frame is summed at
 * once from the input frames that reach it, which is faster for few input channels and gives the
 * same values (TransposedGather). A frame of another height than the first, which may spill into
 * the sums of others, makes such a layer go on with the sums, until the next reset.
 *
 * These stand in a ring of historyLength = max(kernelFrames, timeStride) rows, output frame f in
 * row f modulo historyLength. For kernelFrames 3 and timeStride 2 input frame i adds to the output
 * frames 2i to 2i + 2, after which the first two are complete and leave:
 *
 *     output frame   0    1    2    3    4
 *     input 0       tap0 tap1 tap2
 *     input 1                 tap0 tap1 tap2
 *     released by    0    0    1    1
 *
 * A positive lookahead drops that many of the first output frames. Released frames wait in a queue
 * and go out until one of them reaches an output layer; the others go out one with each tick, or
 * with the next frame. A frame that is released alone goes out at once. An encoder that swallows
 * frames and a decoder that multiplies them so keep the frame rate even.
 *
 * A kernel of one output channel in front of several is depthwise: channel c of the output is fed
 * by channel c of the input alone.
 */
template <class T>
class TransposedConvLayer : public BaseLayer<T> {
  public:
    static constexpr std::int32_t fileType = 3;

    /** Throws std::runtime_error for a record whose values cannot be computed with. */
    TransposedConvLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t version);

    /**
     * Gives up to timeStride tensors [1, height * heightStride, outChannels] for each frame. The
     * first frame fixes the height of the ring. Values are read as kernelInChannels
     * to a bin whatever the shape says; throws std::runtime_error where the input ends before.
     */
    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;
    void ResetState() override;
    std::int32_t GetLatency(std::int32_t scale) override;
    /** Delivers what waits, as after a frame, before the tick goes on. */
    void SkipFrame() override;

  private:
    bool ReactsToTicks() const override { return true; }

    void ReadRecord(ModelReader& reader, std::int32_t version);
    void CheckSizes() const;
    void ChargeUnbackedSizes(ModelReader& reader) const;

    bool IsDepthwise() const { return kernelOutChannels_ == 1 && outChannels_ != 1; }
    void ArrangeWeights();
    const T* FrameOf(const Tensor<T>& input, std::int32_t frame) const;
    bool TakeFrame(const T* frame, std::int32_t height);
    void GatherFrame(const T* frame, std::int32_t outHeight);
    void ContinueInRing();
    void AddFrame(const T* frame, std::int32_t height);
    void PrepareHistory(std::int32_t height, std::int32_t outHeight);
    void RequireInsideRing(std::int64_t rowLength) const;
    std::int32_t ReadyFrames() const;
    bool IsAlone() const;
    void ReleaseRows(std::int32_t outHeight);
    void WriteOutput(std::int32_t index, std::int32_t outHeight);
    void EmptyReleasedRows(std::int32_t rowLength);
    bool DeliverPending();
    T* RingRow(std::int64_t outputFrame);

    std::int32_t timeStride_ = 1;
    std::int32_t heightStride_ = 1;
    /** In the record, but no computation reads them. */
    std::int32_t timeDilation_ = 1;
    std::int32_t reservedParameter_ = 0;
    /** Output frames advanced since the last reset, timeStride for each input frame. */
    std::int64_t frameCounter_ = 0;
    /** Output frames dropped at the start; a negative one drops none. */
    std::int32_t lookahead_ = 0;
    /** [kernelFrames, kernelHeight, kernelOutChannels, kernelInChannels] */
    Tensor<T> weights_;
    /** The weights as the frame path reads them, and the rows that their time taps land on. */
    TransposedKernel<T> kernel_;
    std::vector<T*> tapRows_;
    /** In place of the ring, where that takes less time. */
    TransposedGather<T> gather_;
    /** outChannels values, or none. */
    Tensor<T> bias_;
    /** The ring: [historyLength, output height, outChannels]. */
    Tensor<T> history_;
    /** An input frame that comes from gather_: [1, height, kernelInChannels]. */
    Tensor<T> frame_;
    Tensor<T> output_;
    /** Frames that are ready but not yet delivered. */
    FrameQueue<T> pending_;
    std::int32_t kernelFrames_ = 0;
    std::int32_t historyLength_ = 1;
    std::int32_t kernelHeight_ = 0;
    std::int32_t kernelInChannels_ = 0;
    std::int32_t kernelOutChannels_ = 0;
    std::int32_t outChannels_ = 0;
};

extern template class TransposedConvLayer<float>;

}  // namespace vorun
