#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <vector>

#include "neural/TensorData.h"

namespace vorun {

/** Product of the dimensions, wrapped to 32 bits two's complement; 0 for no dimensions. */
std::int32_t wrappedVolume(std::span<const std::int32_t> shape);
/** The same without wrapping; throws std::runtime_error for a negative dimension or above 31 bits.
 */
std::int32_t checkedVolume(std::span<const std::int32_t> shape);

/**
 * The value that flows through a model: a shape over shared storage, row-major with the last
 * dimension fastest. On the graph's main path always [frames, height, channels].
 *
 * A copy shares the storage and owns its shape. Who writes calls MakeUnique() first, so that
 * tensors already handed on keep their values. One thread at a time per model (see BaseLayer).
 *
 * What every reader may rely on: volume() elements stand behind readData() whenever volume() is
 * positive. Dimensions are never negative, except in a tensor of a model file, which is read as a
 * flat array of volume() elements.
 */
template <class T>
class Tensor {
  public:
    /** No storage and rank 0. */
    Tensor() = default;
    /**
     * Always takes new storage, not cleared; an empty shape takes storage of capacity 0.
     * Throws std::runtime_error for a negative dimension or more elements than 31 bits count.
     */
    explicit Tensor(std::vector<std::int32_t> shape);

    /**
     * A tensor as a model file states it: any dimensions, with wrappedVolume(shape) elements in
     * new storage, or no storage where that is 0 or below.
     */
    static Tensor fromFileShape(std::vector<std::int32_t> shape);

    /**
     * Takes a new shape. Storage that is large enough stays, shared or not, with what it holds;
     * otherwise new storage of exactly the new volume replaces it and nothing is carried over.
     * Throws as the constructor does, and then nothing has changed.
     */
    void Resize(std::span<const std::int32_t> shape);
    void Resize(std::initializer_list<std::int32_t> shape) {
        // Most frames find the shape of the one before.
        if (!storage_ || !HasShape(shape)) {
            Resize(std::span<const std::int32_t>(shape.begin(), shape.size()));
        }
    }
    /** Leaves storage that only this tensor holds; storage that is shared is cloned, whole. */
    void MakeUnique() {
        if (useCount() > 1) {
            Clone();
        }
    }
    /** MakeUnique(), then volume() zeros. */
    void Zero();

    std::int32_t rank() const { return static_cast<std::int32_t>(shape_.size()); }
    /**
     * One dimension, outermost first. An empty shape reads 0 in every dimension; an index at or
     * beyond any other rank throws std::runtime_error.
     */
    std::int32_t dim(std::size_t index) const {
        return index < shape_.size() ? shape_[index] : MissingDim();
    }
    /** Number of elements; for a shape from a file the wrapped product, which can be negative. */
    std::int32_t volume() const { return shape_.empty() ? 0 : volume_; }
    const std::vector<std::int32_t>& shape() const { return shape_; }

    /** Null without a block. */
    const T* readData() const { return storage_ ? storage_->data() : nullptr; }
    /** For writing; does not separate shared storage. Null without a block. */
    T* data() { return storage_ ? storage_->data() : nullptr; }

    bool hasStorage() const { return storage_ != nullptr; }
    /** Elements that the storage can hold, at least volume(); 0 without storage. */
    std::int32_t capacity() const { return storage_ ? storage_->capacity() : 0; }
    /** Number of tensors on this storage; 0 without storage. */
    long useCount() const { return storage_.use_count(); }

  private:
    std::int32_t MissingDim() const;
    bool HasShape(std::initializer_list<std::int32_t> shape) const {
        if (shape.size() != shape_.size()) {
            return false;
        }
        // One by one: the list would otherwise go to memory and be read back in larger pieces.
        auto own = shape_.begin();
        for (const std::int32_t dimension : shape) {
            if (dimension != *own++) {
                return false;
            }
        }
        return true;
    }
    void Clone();

    std::shared_ptr<TensorData<T>> storage_;
    std::vector<std::int32_t> shape_;
    /** wrappedVolume(shape_), but for a tensor that was moved from. */
    std::int32_t volume_ = 0;
};

extern template class Tensor<float>;

}  // namespace vorun
