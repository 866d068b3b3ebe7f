#include "neural/layers/TransposedKernel.h"

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "neural/layers/TransposedRuns.h"

namespace vorun {

template <class T>
std::int32_t TransposedKernel<T>::narrowChannels(const TransposedSizes& sizes, std::int32_t bins) {
    if (sizes.depthwise) {
        return 0;
    }
    const std::int64_t run = std::int64_t{TransposedReach(sizes).binsOfPhase(0)} * sizes.inChannels;
    return columnChannels(sizes.outChannels, run, bins);
}

template <class T>
TransposedKernel<T>::TransposedKernel(const TransposedWeights<T>& weights,
                                      const TransposedSizes& sizes, bool byColumn)
    : sizes_(sizes), reach_(sizes), weights_(weights), byColumn_(byColumn) {
    if (byColumn) {
        columnOut_.resize(static_cast<std::size_t>(sizes.frames) *
                          static_cast<std::size_t>(weights_.narrowChannels()));
    }
}

template <class T>
void TransposedKernel<T>::AddFrame(const T* frame, std::int32_t height, const Rows& rows) {
    const bool byColumn = PrepareColumns(height, rows);
    for (std::int32_t tap = 0; tap < sizes_.frames; ++tap) {
        AddByChannel(frame, height, rows, tap, weights_.Wide(tap));
        if (!byColumn) {
            AddByChannel(frame, height, rows, tap, weights_.Narrow(tap));
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
    if (!byColumn_ || narrowChannels(sizes_, height) == 0) {
        return false;
    }
    if (columnHeight_ == 0 && columns_.Resize(height, sizes_.inChannels, 1)) {
        entered_.clear();
        for (std::int32_t phase = 0; phase < reach_.phases(); ++phase) {
            entered_.push_back(reach_.enteredBins(phase, height, rows.height));
        }
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
    const bool areRows = rows.channels == weights_.narrowChannels() &&
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

template <class T>
void TransposedKernel<T>::AddByChannel(const T* frame, std::int32_t height, const Rows& rows,
                                       std::int32_t tap, const Part& part) const {
    const T* place = nullptr;
    addTransposedRuns<T>(
        sizes_, part,
        {&frame, 1, height, &place, rows.taps[tap], rows.height, rows.channels, nullptr, nullptr});
}

/** Where the sums of all taps and narrow channels stand in an output bin. */
template <class T>
void TransposedKernel<T>::FindColumns(const Rows& rows, std::int64_t outBin) {
    const Part part = weights_.Narrow(0);
    T** out = columnOut_.data();
    for (std::int32_t tap = 0; tap < sizes_.frames; ++tap) {
        T* const bin = rows.taps[tap] + outBin * rows.channels;
        for (std::int32_t channel = 0; channel < part.channels; ++channel) {
            *out++ = bin + part.firstChannel + channel;
        }
    }
}

/** The same in planes. */
template <class T>
void TransposedKernel<T>::FindPlanes(std::int64_t outBin) {
    const std::int64_t channels = weights_.narrowChannels();
    const std::int64_t first = outBin % sizes_.heightStride * channels;
    T** out = columnOut_.data();
    for (std::int64_t tap = 0; tap < sizes_.frames; ++tap) {
        for (std::int64_t channel = 0; channel < channels; ++channel) {
            *out++ = planes_.data() + (tap * PlanesOfRow() + first + channel) * columnHeight_ +
                     outBin / sizes_.heightStride;
        }
    }
}

/** All taps at once: they meet the same input. */
template <class T>
void TransposedKernel<T>::AddByColumn(const T* columns, std::int32_t height, const Rows& rows,
                                      bool inPlanes) {
    const Part part = weights_.Narrow(0);
    const T* weights = part.weights;
    for (std::int32_t phase = 0; phase < reach_.phases(); ++phase) {
        const IndexRange outputs = reach_.outputsOfPhase(phase, height, rows.height);
        const std::int32_t kernelBins = reach_.binsOfPhase(phase);
        if (!outputs.isEmpty()) {
            const std::int64_t outBin = reach_.outBin(phase, outputs.begin);
            if (inPlanes) {
                FindPlanes(outBin);
            } else {
                FindColumns(rows, outBin);
            }
            ColumnProducts products{};
            const T* const first = columns + outputs.begin - (kernelBins - 1);
            products.columns = &first;
            products.pitch = columns_.pitch();
            products.weights = weights;
            products.weightStride = part.weightStride;
            products.sums = columnOut_.data();
            products.out = columnOut_.data();
            products.outStride = inPlanes ? 1 : std::int64_t{sizes_.heightStride} * rows.channels;
            products.entered = entered_[static_cast<std::size_t>(phase)].data();
            products.taps = 1;
            products.columnCount = columns_.count();
            products.groups = kernelBins;
            products.group = sizes_.inChannels;
            products.bins = static_cast<std::int32_t>(outputs.size());
            products.channels = static_cast<std::int32_t>(columnOut_.size());
            checkedCall(products.group, [&] { return addColumnProducts(products); });
        }
        weights += std::int64_t{kernelBins} * sizes_.inChannels * part.weightStride;
    }
}

template class TransposedKernel<float>;

}  // namespace vorun
