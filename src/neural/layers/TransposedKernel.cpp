#include "neural/layers/TransposedKernel.h"

#include <algorithm>
#include <limits>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "neural/layers/FloorDivide.h"

namespace vorun {

template <class T>
TransposedKernel<T>::TransposedKernel(const Tensor<T>& weights, const Sizes& sizes)
    : sizes_(sizes) {
    constexpr std::int32_t anyHeight = std::numeric_limits<std::int32_t>::max();
    narrowChannels_ = sizes.depthwise ? 0 : NarrowChannels(anyHeight);
    wideChannels_ = sizes.outChannels - narrowChannels_;
    wide_.Resize({sizes.frames, sizes.height, sizes.inChannels, wideChannels_});
    narrow_.Resize({sizes.height, sizes.inChannels, sizes.frames, narrowChannels_});
    columnOut_.resize(static_cast<std::size_t>(sizes.frames) *
                      static_cast<std::size_t>(narrowChannels_));
    entered_.resize(static_cast<std::size_t>(std::max(sizes.height, 1)));
    for (std::int32_t tap = 0; tap < sizes_.frames; ++tap) {
        PackTap(weights.readData() + tap * sizes_.height * BinVolume(), tap);
    }
}

template <class T>
void TransposedKernel<T>::PackTap(const T* kernel, std::int32_t tap) {
    Part wide = WidePart(tap);
    Part narrow = NarrowPart(tap);
    for (std::int32_t phase = 0; phase < Phases(); ++phase) {
        for (std::int32_t i = BinsOfPhase(phase) - 1; i >= 0; --i) {
            const std::int64_t bin = phase + std::int64_t{i} * sizes_.heightStride;
            PackBin(kernel + bin * BinVolume(), wide);
            if (!sizes_.depthwise) {
                PackBin(kernel + bin * BinVolume(), narrow);
            }
        }
    }
}

/** Output channels become the inner ones, as many of which a register takes at once. */
template <class T>
void TransposedKernel<T>::PackBin(const T* bin, Part& part) const {
    const std::int64_t inChannels = sizes_.inChannels;
    if (sizes_.depthwise) {
        part.weights = std::copy_n(bin, inChannels, part.weights);
        return;
    }
    for (std::int64_t in = 0; in < inChannels; ++in) {
        for (std::int64_t out = 0; out < part.channels; ++out) {
            part.weights[out] = bin[(part.firstChannel + out) * inChannels + in];
        }
        part.weights += part.weightStride;
    }
}

template <class T>
void TransposedKernel<T>::AddFrame(const T* frame, std::int32_t height, const Rows& rows) {
    const bool byColumn = PrepareColumns(height, rows);
    for (std::int32_t tap = 0; tap < sizes_.frames; ++tap) {
        AddByChannel(frame, height, rows, tap, WidePart(tap));
        if (!byColumn) {
            AddByChannel(frame, height, rows, tap, NarrowPart(tap));
        }
    }
    if (byColumn) {
        const bool hasPlanes = planes_.volume() > 0;
        const T* const columns = columns_.Turn(frame);
        if (hasPlanes) {
            SplitRows(rows);
        }
        AddByColumn(columns, height, rows, hasPlanes);
        if (hasPlanes) {
            JoinRows(rows);
        }
    }
}

/** The first frame of enough bins fixes the height for which there are columns. */
template <class T>
bool TransposedKernel<T>::PrepareColumns(std::int32_t height, const Rows& rows) {
    if (narrowChannels_ == 0 || NarrowChannels(height) == 0) {
        return false;
    }
    if (columnHeight_ == 0 && columns_.Resize(height, sizes_.inChannels, 1)) {
        columnHeight_ = height;
        PreparePlanes(height, rows);
    }
    // Rows that overlap take one tap after the other.
    return height == columnHeight_ && rows.areApart;
}

/**
 * One plane is a row as it stands; and only rows without other channels go through planes. A stride
 * of 0 in the file leaves rows without bins.
 */
template <class T>
void TransposedKernel<T>::PreparePlanes(std::int32_t height, const Rows& rows) {
    const std::int64_t planes = PlanesOfRow();
    const std::int64_t count = planes * sizes_.frames;
    const bool areRows = rows.channels == narrowChannels_ &&
                         rows.height == std::int64_t{height} * sizes_.heightStride;
    if (areRows && planes > 1 && count <= TensorData<T>::largestCapacity / height) {
        planes_.Resize({static_cast<std::int32_t>(count), height});
    }
}

template <class T>
void TransposedKernel<T>::SplitRows(const Rows& rows) {
    const auto planes = static_cast<std::int32_t>(PlanesOfRow());
    const std::int32_t volume = planes * columnHeight_;
    for (std::int64_t tap = 0; tap < sizes_.frames; ++tap) {
        checkedCall(volume, [&] {
            return transposeBins(rows.taps[tap], volume, planes, planes_.data() + tap * volume,
                                 columnHeight_);
        });
    }
}

template <class T>
void TransposedKernel<T>::JoinRows(const Rows& rows) const {
    const auto planes = static_cast<std::int32_t>(PlanesOfRow());
    const std::int32_t volume = planes * columnHeight_;
    for (std::int64_t tap = 0; tap < sizes_.frames; ++tap) {
        checkedCall(volume, [&] {
            return transposeBins(planes_.readData() + tap * volume, volume, columnHeight_,
                                 rows.taps[tap], planes);
        });
    }
}

/** The output bins of a phase, numbered by the last input bin that reaches them. */
template <class T>
IndexRange TransposedKernel<T>::OutputsOfPhase(std::int32_t phase, std::int32_t height,
                                               std::int32_t outHeight) const {
    const std::int64_t stride = sizes_.heightStride;
    const std::int64_t start = FirstPosition() + phase;
    return {std::max<std::int64_t>(0, floorDivide(-start + stride - 1, stride)),
            std::min(std::int64_t{height} + BinsOfPhase(phase) - 1,
                     floorDivide(outHeight - 1 - start, stride) + 1)};
}

/**
 * Outputs at both ends meet fewer input bins than there are bins of the kernel; the others go
 * together.
 */
template <class T>
template <class Body>
void TransposedKernel<T>::ForEachStretch(std::int32_t phase, std::int32_t height,
                                         std::int32_t outHeight, Body body) const {
    const std::int64_t stride = sizes_.heightStride;
    const std::int64_t reach = BinsOfPhase(phase) - 1;
    const std::int64_t start = FirstPosition() + phase;
    const IndexRange outputs = OutputsOfPhase(phase, height, outHeight);
    // Sums over a register of channels take in the neighbours that lack one end: one at most, where
    // the input has room for the whole kernel.
    const std::int64_t joined = !sizes_.depthwise && reach > 0 && reach < height ? 1 : 0;
    for (std::int64_t last = outputs.begin; last < outputs.end;) {
        const std::int64_t from = std::max<std::int64_t>(0, last - reach);
        const std::int64_t to = std::min<std::int64_t>(last, height - 1);
        Stretch stretch{start + last * stride, 1, from, to - from + 1, from - (last - reach)};
        if (last >= reach - joined && last < height) {
            stretch.bins = std::min(height + joined, outputs.end) - last;
            stretch.met = reach + 1;
            stretch.kernelBin = 0;
            stretch.lead = std::max<std::int64_t>(0, reach - last);
            stretch.trail = std::max<std::int64_t>(0, last + stretch.bins - height);
        }
        body(stretch);
        last += stretch.bins;
    }
}

template <class T>
void TransposedKernel<T>::AddByChannel(const T* frame, std::int32_t height, const Rows& rows,
                                       std::int32_t tap, const Part& part) const {
    if (part.channels == 0) {
        return;
    }
    const std::int64_t perBin = sizes_.depthwise ? 1 : sizes_.inChannels;
    const T* weights = part.weights;
    for (std::int32_t phase = 0; phase < Phases(); ++phase) {
        ForEachStretch(phase, height, rows.height, [&](const Stretch& stretch) {
            const T* const x = frame + stretch.inBin * sizes_.inChannels;
            RunProducts products{};
            products.rows = &x;
            products.weights = weights + stretch.kernelBin * perBin * part.weightStride;
            products.weightStride = part.weightStride;
            products.binStride = sizes_.inChannels;
            products.outStride = std::int64_t{sizes_.heightStride} * rows.channels;
            products.out = rows.taps[tap] + stretch.outBin * rows.channels + part.firstChannel;
            products.taps = 1;
            products.run = static_cast<std::int32_t>(stretch.met * perBin);
            products.bins = static_cast<std::int32_t>(stretch.bins);
            products.channels = part.channels;
            products.lead = static_cast<std::int32_t>(stretch.lead * perBin);
            products.trail = static_cast<std::int32_t>(stretch.trail * perBin);
            checkedCall(std::min(products.run, products.channels), [&] {
                return sizes_.depthwise ? addChannelProducts(products) : addRunProducts(products);
            });
        });
        weights += BinsOfPhase(phase) * perBin * part.weightStride;
    }
}

/** Where the sums of all taps and narrow channels stand in an output bin. */
template <class T>
void TransposedKernel<T>::FindColumns(const Rows& rows, std::int64_t outBin) {
    T** out = columnOut_.data();
    for (std::int32_t tap = 0; tap < sizes_.frames; ++tap) {
        T* const bin = rows.taps[tap] + outBin * rows.channels;
        for (std::int32_t channel = 0; channel < narrowChannels_; ++channel) {
            *out++ = bin + wideChannels_ + channel;
        }
    }
}

/** The same in planes. */
template <class T>
void TransposedKernel<T>::FindPlanes(std::int64_t outBin) {
    const std::int64_t first = outBin % sizes_.heightStride * narrowChannels_;
    T** out = columnOut_.data();
    for (std::int64_t tap = 0; tap < sizes_.frames; ++tap) {
        for (std::int64_t channel = 0; channel < narrowChannels_; ++channel) {
            *out++ = planes_.data() + (tap * PlanesOfRow() + first + channel) * columnHeight_ +
                     outBin / sizes_.heightStride;
        }
    }
}

/** All taps at once: they meet the same input. */
template <class T>
void TransposedKernel<T>::AddByColumn(const T* columns, std::int32_t height, const Rows& rows,
                                      bool inPlanes) {
    const Part part = NarrowPart(0);
    const T* weights = part.weights;
    for (std::int32_t phase = 0; phase < Phases(); ++phase) {
        const IndexRange outputs = OutputsOfPhase(phase, height, rows.height);
        const std::int64_t reach = BinsOfPhase(phase) - 1;
        if (!outputs.isEmpty()) {
            const std::int64_t outBin =
                FirstPosition() + phase + outputs.begin * sizes_.heightStride;
            if (inPlanes) {
                FindPlanes(outBin);
            } else {
                FindColumns(rows, outBin);
            }
            FindEntered(outputs, reach, height);
            ColumnProducts products{};
            const T* const first = columns + outputs.begin - reach;
            products.columns = &first;
            products.pitch = columns_.pitch();
            products.weights = weights;
            products.weightStride = part.weightStride;
            products.sums = columnOut_.data();
            products.out = columnOut_.data();
            products.outStride = inPlanes ? 1 : std::int64_t{sizes_.heightStride} * rows.channels;
            products.entered = entered_.data();
            products.taps = 1;
            products.columnCount = columns_.count();
            products.groups = BinsOfPhase(phase);
            products.group = sizes_.inChannels;
            products.bins = static_cast<std::int32_t>(outputs.size());
            products.channels = static_cast<std::int32_t>(columnOut_.size());
            checkedCall(products.group, [&] { return addColumnProducts(products); });
        }
        weights += (reach + 1) * sizes_.inChannels * part.weightStride;
    }
}

/** Which of the outputs each bin of a phase's packed kernel reaches from within the input. */
template <class T>
void TransposedKernel<T>::FindEntered(IndexRange outputs, std::int64_t reach, std::int32_t height) {
    for (std::int64_t i = 0; i <= reach; ++i) {
        const std::int64_t first = outputs.begin - reach + i;
        const std::int64_t begin = std::clamp<std::int64_t>(-first, 0, outputs.size());
        const std::int64_t end = std::clamp<std::int64_t>(height - first, begin, outputs.size());
        entered_[static_cast<std::size_t>(i)] = {static_cast<std::int32_t>(begin),
                                                 static_cast<std::int32_t>(end)};
    }
}

template class TransposedKernel<float>;

}  // namespace vorun
