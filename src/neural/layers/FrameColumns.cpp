#include "neural/layers/FrameColumns.h"

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"
#include "neural/layers/ColumnChannels.h"

namespace vorun {

template <class T>
bool FrameColumns<T>::Resize(std::int32_t height, std::int32_t channels, std::int32_t binsAsOne) {
    constexpr std::int64_t most = TensorData<T>::largestCapacity;
    const std::int64_t count = std::int64_t{channels} * binsAsOne;
    const std::int64_t bins = (std::int64_t{height} - 1) / binsAsOne + 1;
    // Each column begins with a register.
    const std::int64_t pitch = (bins + widestRegister - 1) / widestRegister * widestRegister;
    if (count > most / pitch) {
        return false;
    }
    frameVolume_ = height * channels;
    columns_.Resize({static_cast<std::int32_t>(count), static_cast<std::int32_t>(pitch)});
    columns_.Zero();
    return true;
}

template <class T>
const T* FrameColumns<T>::Turn(const T* frame) {
    if (count() == 1) {
        return frame;
    }
    checkedCall(frameVolume_, [&] {
        return transposeBins(frame, frameVolume_, count(), columns_.data(), pitch());
    });
    return columns_.readData();
}

template <class T>
const T* FrameColumns<T>::Silence() {
    columns_.Zero();
    return columns_.readData();
}

template class FrameColumns<float>;

}  // namespace vorun
