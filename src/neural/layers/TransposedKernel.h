#pragma once

#include <cstdint>
#include <vector>

#include "foundation/vector/FusedForms.h"
#include "neural/Tensor.h"
#include "neural/layers/ColumnChannels.h"
#include "neural/layers/FrameColumns.h"
#include "neural/layers/TransposedReach.h"
#include "neural/layers/TransposedSizes.h"
#include "neural/layers/TransposedWeights.h"

namespace vorun {

/** The kernel of a transposed convolution, which adds what one frame gives to a row a time tap. */
template <class T>
class TransposedKernel {
  public:
    /** Where the sums go: for each time tap a row of `height` bins of `channels` values. */
    struct Rows {
        T* const* taps;
        std::int32_t height;
        std::int32_t channels;
        /** Whether no row reaches into another one. */
        bool areApart;
    };

    /** Output channels, the last ones, that are better summed by column for so many bins. */
    static std::int32_t narrowChannels(const TransposedSizes& sizes, std::int32_t bins);

    TransposedKernel() = default;
    /** With `byColumn`, narrow channels go by column, which takes memory of its own. */
    TransposedKernel(const TransposedWeights<T>& weights, const TransposedSizes& sizes,
                     bool byColumn);

    /** Adds what a frame of `height` bins of inChannels gives. */
    void AddFrame(const T* frame, std::int32_t height, const Rows& rows);

  private:
    using Part = typename TransposedWeights<T>::Part;

    /** A row of narrow channels alone holds so many values of each input bin's outputs. */
    std::int64_t PlanesOfRow() const {
        return std::int64_t{sizes_.heightStride} * weights_.narrowChannels();
    }

    bool PrepareColumns(std::int32_t height, const Rows& rows);
    void AddByChannel(const T* frame, std::int32_t height, const Rows& rows, std::int32_t tap,
                      const Part& part) const;
    void PreparePlanes(std::int32_t height, const Rows& rows);
    void SplitRows(const Rows& rows);
    void JoinRows(const Rows& rows) const;
    void FindColumns(const Rows& rows, std::int64_t outBin);
    void FindPlanes(std::int64_t outBin);
    void AddByColumn(const T* columns, std::int32_t height, const Rows& rows, bool inPlanes);

    TransposedSizes sizes_;
    TransposedReach reach_;
    TransposedWeights<T> weights_;
    bool byColumn_ = false;
    FrameColumns<T> columns_;
    std::int32_t columnHeight_ = 0;
    /** The rows of all taps, each value of a stride in a plane of its own: [planes, height]. */
    Tensor<T> planes_;
    /** Of each time tap and narrow channel, its first bin. */
    std::vector<T*> columnOut_;
    /** Of each phase, which outputs its kernel bins reach; for frames of columnHeight_. */
    std::vector<std::vector<BinRange>> entered_;
};

extern template class TransposedKernel<float>;

}  // namespace vorun
