#include "neural/layers/FrameColumns.h"

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"

namespace vorun {

template <class T>
bool FrameColumns<T>::Resize(std::int32_t height, std::int32_t channels, std::int32_t binsAsOne) {
    // What sums over columns read behind the last bin.
    constexpr std::int64_t readBeyond = 15;
    constexpr std::int64_t most = TensorData<T>::largestCapacity;
    const std::int64_t count = std::int64_t{channels} * binsAsOne;
    const std::int64_t pitch = (std::int64_t{height} - 1) / binsAsOne + 1 + readBeyond;
    if (count > most / pitch) {
        return false;
    }
    frameVolume_ = height * channels;
    columns_.Resize({static_cast<std::int32_t>(count), static_cast<std::int32_t>(pitch)});
    Clear();
    return true;
}

template <class T>
void FrameColumns<T>::Turn(const T* frame) {
    checkedCall(frameVolume_, [&] {
        return transposeBins(frame, frameVolume_, count(), columns_.data(), pitch());
    });
}

template class FrameColumns<float>;

}  // namespace vorun
