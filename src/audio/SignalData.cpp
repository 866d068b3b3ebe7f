#include "audio/SignalData.h"

#include <limits>

#include "audio/SaturatedSize.h"
#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

namespace {

constexpr std::int32_t alignmentBytes = 64;

template <class T>
std::int32_t strideOf(std::int32_t length) {
    constexpr std::int64_t elements = alignmentBytes / sizeof(T);
    return saturatedSize((length + elements - 1) / elements * elements);
}

template <class T>
T* allocateBlock(std::int32_t channels, std::int32_t length) {
    if (channels < 1 || length < 1) {
        return nullptr;
    }
    constexpr std::int64_t elementLimit = std::numeric_limits<std::int32_t>::max() / sizeof(T);
    const std::int64_t elements = static_cast<std::int64_t>(strideOf<T>(length)) * channels;
    if (elements > elementLimit) {
        return nullptr;
    }
    const auto bytes = static_cast<std::int32_t>(elements * static_cast<std::int64_t>(sizeof(T)));
    return static_cast<T*>(static_cast<void*>(ippsMalloc_8u(bytes)));
}

}  // namespace

template <class T>
SignalData<T>::SignalData(std::int32_t channelCount, std::int32_t samples)
    : length(samples),
      channels(channelCount),
      stride(strideOf<T>(samples)),
      alignment(alignmentBytes),
      data(allocateBlock<T>(channelCount, samples)) {}

template <class T>
SignalData<T>::~SignalData() {
    ippsFree(data);
}

template <class T>
std::shared_ptr<SignalData<T>> SignalData<T>::clone() const {
    auto copy = std::make_shared<SignalData<T>>(channels, length);
    if (hasSamples()) {
        copySamples(data, copy->data, saturatedSize(static_cast<std::int64_t>(stride) * channels));
    }
    return copy;
}

template class SignalData<float>;
template class SignalData<double>;
template class SignalData<Ipp32fc>;

}  // namespace vorun
