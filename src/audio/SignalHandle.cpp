#include "audio/SignalHandle.h"

#include <cstddef>
#include <stdexcept>
#include <utility>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

template <class T>
SignalHandle<T>::SignalHandle(std::int32_t channelCount, std::int32_t samples)
    : channels_(channelCount),
      length_(samples),
      data_(std::make_shared<SignalData<T>>(channelCount, samples)) {}

template <class T>
SignalHandle<T>::SignalHandle(SignalHandle&& other) noexcept
    : channels_(std::exchange(other.channels_, 0)),
      length_(std::exchange(other.length_, 0)),
      data_(std::move(other.data_)) {}

template <class T>
SignalHandle<T>& SignalHandle<T>::operator=(SignalHandle&& other) noexcept {
    if (this != &other) {
        channels_ = std::exchange(other.channels_, 0);
        length_ = std::exchange(other.length_, 0);
        data_ = std::move(other.data_);
    }
    return *this;
}

template <class T>
void SignalHandle<T>::detach() {
    if (data_.use_count() > 1) {
        data_ = data_->clone();
    }
}

template <class T>
const T* SignalHandle<T>::readData(std::int32_t channel) const {
    return channelStart(channel);
}

template <class T>
T* SignalHandle<T>::channelData(std::int32_t channel) {
    detach();
    return channelStart(channel);
}

template <class T>
T* const* SignalHandle<T>::channelPointers() {
    detach();
    if (!hasSamples()) {
        return nullptr;
    }
    auto& pointers = data_->channelPointers;
    if (pointers.empty()) {
        std::vector<T*> fresh;
        channelStart(0);  // Raises for a missing block before the array takes memory for it.
        fresh.reserve(static_cast<std::size_t>(channels_));
        for (std::int32_t c = 0; c < channels_; ++c) {
            fresh.push_back(channelStart(c));
        }
        pointers = std::move(fresh);
    }
    return pointers.data();
}

template <class T>
T* SignalHandle<T>::channelStart(std::int32_t channel) const {
    if (!hasSamples()) {
        return nullptr;
    }
    if (channel < 0 || channel >= channels_) {
        throw std::runtime_error("signal has no such channel");
    }
    if (data_->data == nullptr) {
        checkStatus(ippStsNullPtrErr);
    }
    return data_->data + static_cast<std::ptrdiff_t>(channel) * data_->stride;
}

template <class T>
bool SignalHandle<T>::hasSamples() const noexcept {
    return data_ && data_->hasSamples();
}

template <class T>
void SignalHandle<T>::requireCoveredBy(const SignalHandle& other) const {
    if (hasSamples() && (other.channels_ < channels_ || other.length_ < length_)) {
        throw std::runtime_error("second signal is smaller than the first");
    }
}

template class SignalHandle<float>;
template class SignalHandle<double>;
template class SignalHandle<Ipp32fc>;

}  // namespace vorun
