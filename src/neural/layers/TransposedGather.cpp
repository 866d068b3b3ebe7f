#include "neural/layers/TransposedGather.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <limits>
#include <utility>

#include "foundation/vector/CheckedCall.h"
#include "neural/layers/ColumnChannels.h"
#include "neural/layers/TransposedRuns.h"

namespace vorun {
namespace {

/** Sums are neither loaded nor stored on the way. */
std::int32_t narrowChannelsOf(const TransposedSizes& sizes, std::int32_t bins) {
    constexpr std::int64_t endless = std::int64_t{1} << 20;
    return sizes.depthwise ? 0 : columnChannels(sizes.outChannels, endless, bins);
}

}  // namespace

template <class T>
bool TransposedGather<T>::suits(const TransposedSizes& sizes, std::int32_t timeStride,
                                std::int32_t outChannels) {
    // With more, reading several frames again costs as much as what it spares.
    constexpr std::int32_t few = 16;
    return sizes.fedChannels() == outChannels && sizes.frames >= timeStride &&
           (sizes.depthwise || sizes.inChannels <= few);
}

template <class T>
std::int32_t TransposedGather<T>::narrowChannels(const TransposedSizes& sizes) {
    return narrowChannelsOf(sizes, std::numeric_limits<std::int32_t>::max());
}

template <class T>
TransposedGather<T>::TransposedGather(const TransposedWeights<T>& weights, const Tensor<T>& bias,
                                      const TransposedSizes& sizes, std::int32_t timeStride)
    : sizes_(sizes),
      reach_(sizes),
      weights_(weights),
      timeStride_(timeStride),
      depth_((sizes.frames - 1) / timeStride + 1) {
    const std::int32_t channels = sizes.fedChannels();
    zeros_.resize(static_cast<std::size_t>(channels));
    unreached_ = zeros_;
    if (bias.volume() > 0) {
        last_.assign(bias.readData(), bias.readData() + channels);
        std::transform(last_.begin(), last_.end(), zeros_.begin(), unreached_.begin(),
                       std::plus<T>());
    }
    rows_.resize(static_cast<std::size_t>(depth_));
    places_.resize(rows_.size());
}

template <class T>
void TransposedGather<T>::Start(std::int32_t height) {
    // Far more than any stream needs: a small file must not ask for all memory by a long kernel.
    constexpr std::int64_t most = std::int64_t{1} << 22;
    const std::int64_t volume = std::int64_t{height} * sizes_.inChannels;
    isStarted_ = false;
    isActive_ = false;
    // Which of them hold anything says how frames are summed.
    frames_ = {};
    columns_ = {};
    planes_ = {};
    if (depth_ == 0 || volume == 0 || depth_ > most / volume) {
        return;
    }
    height_ = height;
    StartColumns();
    if (SumsByChannel() || !TurnsFrames()) {
        frames_.Resize({depth_, height, sizes_.inChannels});
        // Touches the block's pages now, and not in the frames to come.
        frames_.Zero();
    }
    std::int64_t reached = 0;
    for (std::int32_t phase = 0; phase < reach_.phases(); ++phase) {
        reached += reach_.outputsOfPhase(phase, height, outHeight()).size();
    }
    reachesAllBins_ = reached == outHeight();
    isStarted_ = true;
    Reset();
}

template <class T>
void TransposedGather<T>::StartColumns() {
    phases_.clear();
    const std::int32_t channels = narrowChannelsOf(sizes_, height_);
    if (channels == 0) {
        return;
    }
    planes_.Resize({sizes_.heightStride, channels, height_});
    for (std::int32_t plane = 0; plane < sizes_.heightStride * channels; ++plane) {
        const std::size_t channel = unreached_.size() - channels + plane % channels;
        std::fill_n(planes_.data() + std::int64_t{plane} * height_, height_, unreached_[channel]);
    }
    if (sizes_.inChannels > 1) {
        columns_.Resize({depth_, sizes_.inChannels, height_});
        columns_.Zero();
    }
    std::int64_t firstWeight = 0;
    for (std::int32_t phase = 0; phase < reach_.phases(); ++phase) {
        PreparePhase(phase, firstWeight);
        firstWeight += std::int64_t{reach_.binsOfPhase(phase)} * sizes_.inChannels *
                       weights_.Narrow(0).weightStride;
    }
}

template <class T>
void TransposedGather<T>::PreparePhase(std::int32_t phase, std::int64_t firstWeight) {
    const IndexRange outputs = reach_.outputsOfPhase(phase, height_, outHeight());
    if (outputs.isEmpty()) {
        return;
    }
    const Part part = weights_.Narrow(0);
    const std::int64_t outBin = reach_.outBin(phase, outputs.begin);
    Phase prepared{};
    prepared.place = outputs.begin - (reach_.binsOfPhase(phase) - 1);
    prepared.firstWeight = firstWeight;
    prepared.entered = reach_.enteredBins(phase, height_, outHeight());
    for (std::int64_t channel = 0; channel < part.channels; ++channel) {
        const std::int64_t plane = outBin % sizes_.heightStride * part.channels + channel;
        prepared.out.push_back(planes_.data() + plane * height_ + outBin / sizes_.heightStride);
    }
    ColumnProducts& products = prepared.products;
    products.pitch = height_;
    products.weightStride = part.weightStride;
    products.tapStride = -timeStride_ * part.tapStride;
    products.outStride = 1;
    products.start = zeros_.data();
    products.columnCount = sizes_.inChannels;
    products.groups = reach_.binsOfPhase(phase);
    products.group = sizes_.inChannels;
    products.bins = static_cast<std::int32_t>(outputs.size());
    products.channels = part.channels;
    products.started = part.channels;
    products.columns = places_.data();
    products.last = last_.empty() ? nullptr : last_.data() + part.firstChannel;
    phases_.push_back(std::move(prepared));
    // The moved vectors keep their blocks.
    Phase& kept = phases_.back();
    kept.products.entered = kept.entered.data();
    kept.products.sums = kept.out.data();
    kept.products.out = kept.out.data();
}

template <class T>
void TransposedGather<T>::Reset() {
    isActive_ = isStarted_;
    remembered_ = 0;
    newest_ = 0;
}

template <class T>
std::int64_t TransposedGather<T>::PlaceOf(std::int32_t back) const {
    const std::int32_t slot = newest_ - back + (back > newest_ ? depth_ : 0);
    return std::int64_t{slot} * FrameVolume();
}

template <class T>
void TransposedGather<T>::CopyRemembered(std::int32_t back, T* frame) const {
    const std::int64_t place = PlaceOf(back);
    if (frames_.volume() > 0) {
        copySamples<T>(frames_.readData() + place, frame, FrameVolume());
        return;
    }
    checkedCall(FrameVolume(), [&] {
        return transposeBins(columns_.readData() + place, FrameVolume(), height_, frame,
                             sizes_.inChannels);
    });
}

template <class T>
void TransposedGather<T>::SetFrame(const T* frame) {
    const std::int64_t place = PlaceOf(0);
    if (frames_.volume() > 0) {
        copySamples<T>(frame, frames_.data() + place, FrameVolume());
    }
    if (TurnsFrames()) {
        checkedCall(FrameVolume(), [&] {
            return transposeBins(frame, FrameVolume(), sizes_.inChannels, columns_.data() + place,
                                 height_);
        });
    }
}

template <class T>
void TransposedGather<T>::CompleteFrame() {
    newest_ = newest_ + 1 < depth_ ? newest_ + 1 : 0;
    remembered_ = std::min(remembered_ + 1, depth_ - 1);
}

/** The oldest frame meets the last of the taps that stand timeStride apart. */
template <class T>
typename TransposedGather<T>::Taps TransposedGather<T>::TapsOf(std::int32_t index) const {
    const std::int32_t older = std::min((sizes_.frames - 1 - index) / timeStride_, remembered_);
    return {index + older * timeStride_, older + 1};
}

template <class T>
void TransposedGather<T>::Write(std::int32_t index, T* out) {
    const Taps taps = TapsOf(index);
    if (SumsByChannel()) {
        WriteByChannel(taps, out);
    }
    if (HasColumns()) {
        WriteByColumn(taps, out);
    }
}

template <class T>
void TransposedGather<T>::WriteByChannel(const Taps& taps, T* out) {
    if (!reachesAllBins_) {
        checkedCall(outHeight(),
                    [&] { return repeatRow(unreached_.data(), outChannels(), out, outHeight()); });
    }
    for (std::int32_t i = 0; i < taps.count; ++i) {
        rows_[static_cast<std::size_t>(i)] = frames_.readData() + PlaceOf(taps.count - 1 - i);
    }
    AddByChannel(taps, weights_.Wide(taps.ofOldest), out);
    if (!HasColumns()) {
        AddByChannel(taps, weights_.Narrow(taps.ofOldest), out);
    }
}

template <class T>
void TransposedGather<T>::AddByChannel(const Taps& taps, Part part, T* out) {
    part.tapStride *= -timeStride_;
    addTransposedRuns<T>(
        sizes_, part,
        {rows_.data(), taps.count, height_, places_.data(), out, outHeight(), outChannels(),
         zeros_.data(), last_.empty() ? nullptr : last_.data() + part.firstChannel});
}

template <class T>
void TransposedGather<T>::WriteByColumn(const Taps& taps, T* out) {
    const T* const columns = TurnsFrames() ? columns_.readData() : frames_.readData();
    const T* const weights = weights_.Narrow(taps.ofOldest).weights;
    for (std::int32_t i = 0; i < taps.count; ++i) {
        rows_[static_cast<std::size_t>(i)] = columns + PlaceOf(taps.count - 1 - i);
    }
    for (Phase& phase : phases_) {
        for (std::int32_t i = 0; i < taps.count; ++i) {
            const auto index = static_cast<std::size_t>(i);
            places_[index] = rows_[index] + phase.place;
        }
        phase.products.taps = taps.count;
        phase.products.weights = weights + phase.firstWeight;
        checkedCall(phase.products.group, [&] { return addColumnProducts(phase.products); });
    }
    JoinPlanes(out);
}

template <class T>
void TransposedGather<T>::JoinPlanes(T* out) const {
    const std::int32_t channels = weights_.narrowChannels();
    const bool areRows = channels == outChannels();
    const std::int32_t rows = areRows ? 1 : sizes_.heightStride;
    const std::int32_t volume = planes_.volume() / rows;
    const std::int64_t pitch = std::int64_t{outChannels()} * sizes_.heightStride;
    T* to = out + outChannels() - channels;
    for (std::int32_t row = 0; row < rows; ++row) {
        checkedCall(volume, [&] {
            return transposeBins(planes_.readData() + std::int64_t{row} * volume, volume, height_,
                                 to, pitch);
        });
        to += outChannels();
    }
}

template class TransposedGather<float>;

}  // namespace vorun
