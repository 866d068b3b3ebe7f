#include "neural/Tensor.h"

#include <limits>
#include <stdexcept>
#include <utility>

#include "foundation/vector/CheckedCall.h"

namespace vorun {

std::int32_t wrappedVolume(std::span<const std::int32_t> shape) {
    if (shape.empty()) {
        return 0;
    }
    std::uint32_t volume = 1;
    for (const std::int32_t dimension : shape) {
        volume *= static_cast<std::uint32_t>(dimension);
    }
    return static_cast<std::int32_t>(volume);
}

std::int32_t checkedVolume(std::span<const std::int32_t> shape) {
    bool holdsZero = shape.empty();
    for (const std::int32_t dimension : shape) {
        if (dimension < 0) {
            throw std::runtime_error("tensor dimension is negative");
        }
        holdsZero = holdsZero || dimension == 0;
    }
    if (holdsZero) {
        return 0;
    }
    std::int64_t volume = 1;
    for (const std::int32_t dimension : shape) {
        volume *= dimension;
        if (volume > std::numeric_limits<std::int32_t>::max()) {
            throw std::runtime_error("tensor has too many elements");
        }
    }
    return static_cast<std::int32_t>(volume);
}

template <class T>
Tensor<T>::Tensor(std::vector<std::int32_t> shape)
    : storage_(std::make_shared<TensorData<T>>(checkedVolume(shape))),
      shape_(std::move(shape)),
      volume_(storage_->capacity()) {}

template <class T>
Tensor<T> Tensor<T>::fromFileShape(std::vector<std::int32_t> shape) {
    Tensor tensor;
    const std::int32_t volume = wrappedVolume(shape);
    if (volume > 0) {
        tensor.storage_ = std::make_shared<TensorData<T>>(volume);
    }
    tensor.shape_ = std::move(shape);
    tensor.volume_ = volume;
    return tensor;
}

template <class T>
void Tensor<T>::Resize(std::span<const std::int32_t> shape) {
    const std::int32_t volume = checkedVolume(shape);
    if (!storage_ || volume > storage_->capacity()) {
        storage_ = std::make_shared<TensorData<T>>(volume);
    }
    shape_.assign(shape.begin(), shape.end());
    volume_ = volume;
}

template <class T>
void Tensor<T>::Clone() {
    auto clone = std::make_shared<TensorData<T>>(storage_->capacity());
    copySamples<T>(storage_->data(), clone->data(), storage_->capacity());
    storage_ = std::move(clone);
}

template <class T>
void Tensor<T>::Zero() {
    MakeUnique();
    zeroFloats(data(), volume());
}

template <class T>
std::int32_t Tensor<T>::MissingDim() const {
    if (!shape_.empty()) {
        throw std::runtime_error("tensor has too few dimensions");
    }
    return 0;
}

template class Tensor<float>;

}  // namespace vorun
