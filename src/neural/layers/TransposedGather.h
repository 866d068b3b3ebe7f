#pragma once

#include <cstdint>
#include <vector>

#include "foundation/vector/FusedForms.h"
#include "neural/Tensor.h"
#include "neural/layers/TransposedReach.h"
#include "neural/layers/TransposedSizes.h"
#include "neural/layers/TransposedWeights.h"

namespace vorun {

/**
 * The output frames of a transposed convolution, each summed at once from all input frames that
 * reach it, the oldest one first. Where a sum takes few products of a frame, these cost less than
 * to load and store the sums of every open output frame.
 *
 * For kernelFrames 3 and timeStride 2, input frame i completes two output frames:
 *
 *     output frame   2i    tap 2 of frame i - 1, tap 0 of frame i
 *     output frame   2i+1  tap 1 of frame i
 *
 * All frames must be of one height.
 */
template <class T>
class TransposedGather {
  public:
    /**
     * Whether it is better than to add each frame to all output frames that it reaches, for a layer
     * that gives outChannels channels.
     */
    static bool suits(const TransposedSizes& sizes, std::int32_t timeStride,
                      std::int32_t outChannels);
    /** Output channels, the last ones, that it sums by column if frames have enough bins. */
    static std::int32_t narrowChannels(const TransposedSizes& sizes);

    TransposedGather() = default;
    // It points into itself.
    TransposedGather(const TransposedGather&) = delete;
    TransposedGather& operator=(const TransposedGather&) = delete;
    TransposedGather(TransposedGather&&) noexcept = default;
    TransposedGather& operator=(TransposedGather&&) noexcept = default;
    ~TransposedGather() = default;
    /** `bias` has as many values as there are output channels, or none. */
    TransposedGather(const TransposedWeights<T>& weights, const Tensor<T>& bias,
                     const TransposedSizes& sizes, std::int32_t timeStride);

    /**
     * For frames of `height` bins after silence. Stays inactive where they would take too much
     * memory; throws std::runtime_error where none is left, and may then be called again.
     */
    void Start(std::int32_t height);
    /** Until the next Start() or Reset(). */
    void Stop() { isActive_ = false; }
    /** After silence; goes on if it was ever started. */
    void Reset();
    bool isActive() const { return isActive_; }
    std::int32_t height() const { return height_; }

    /** The newest frame, in place of the one before unless that was completed. */
    void SetFrame(const T* frame);
    /**
     * Writes one of the timeStride output frames that the newest frame completes, as
     * [height * heightStride, outChannels] values.
     */
    void Write(std::int32_t index, T* out);
    /** The newest frame is from here on an older one. */
    void CompleteFrame();

    /** Completed frames that further output frames need. */
    std::int32_t remembered() const { return remembered_; }
    /** One of them, 1 for the last one. */
    void CopyRemembered(std::int32_t back, T* frame) const;

  private:
    using Part = typename TransposedWeights<T>::Part;
    /** The tap that meets the oldest input frame of an output frame, and how many there are. */
    struct Taps {
        std::int32_t ofOldest;
        std::int32_t count;
    };
    /** What all frames have in common of a phase's sums by column. */
    struct Phase {
        ColumnProducts products;
        std::vector<BinRange> entered;
        std::vector<T*> out;
        /** Values from the first of a frame's columns to where the first output bin reads. */
        std::int64_t place;
        /** Values from a tap's first weight to that of the phase. */
        std::int64_t firstWeight;
    };

    std::int32_t outChannels() const { return static_cast<std::int32_t>(unreached_.size()); }
    std::int32_t outHeight() const { return height_ * sizes_.heightStride; }
    std::int32_t FrameVolume() const { return height_ * sizes_.inChannels; }
    bool HasColumns() const { return planes_.volume() > 0; }
    /** One column is a frame as it stands. */
    bool TurnsFrames() const { return HasColumns() && sizes_.inChannels > 1; }
    bool SumsByChannel() const { return !HasColumns() || weights_.Wide(0).channels > 0; }
    /** Of a frame that was so many frames before the newest one. */
    std::int64_t PlaceOf(std::int32_t back) const;
    void StartColumns();
    void PreparePhase(std::int32_t phase, std::int64_t firstWeight);

    Taps TapsOf(std::int32_t index) const;
    void WriteByChannel(const Taps& taps, T* out);
    void AddByChannel(const Taps& taps, Part part, T* out);
    void WriteByColumn(const Taps& taps, T* out);
    void JoinPlanes(T* out) const;

    TransposedSizes sizes_;
    TransposedReach reach_;
    TransposedWeights<T> weights_;
    std::int32_t timeStride_ = 1;
    /** Input frames that an output frame is summed from, at most. */
    std::int32_t depth_ = 0;
    bool isStarted_ = false;
    bool isActive_ = false;
    std::int32_t height_ = 0;
    std::int32_t remembered_ = 0;
    /** Where the newest frame stands. */
    std::int32_t newest_ = 0;
    bool reachesAllBins_ = false;
    /** Frames that reach the next outputs: [depth, height, inChannels]. */
    Tensor<T> frames_;
    /** The same turned round, if need be instead: [depth, inChannels, height]. */
    Tensor<T> columns_;
    /** An output frame's narrow channels: [heightStride, narrowChannels, height]. */
    Tensor<T> planes_;
    std::vector<Phase> phases_;
    /** What the sums of each output channel begin with. */
    std::vector<T> zeros_;
    /** The bias, which is added to them last, or nothing. */
    std::vector<T> last_;
    /** What a bin comes to that no bin of the kernel reaches. */
    std::vector<T> unreached_;
    /** Of each input frame of an output frame, where it stands and where it is read. */
    std::vector<const T*> rows_;
    std::vector<const T*> places_;
};

extern template class TransposedGather<float>;

}  // namespace vorun
