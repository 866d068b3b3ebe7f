#pragma once

#include "neural/Tensor.h"

namespace vorun {

/** Gives the layer's own tensor the input's shape and no other owner; the values are whatever they
 * were. */
template <class T>
T* reshapedLike(const Tensor<T>& input, Tensor<T>& own) {
    own.Resize(input.shape());
    own.MakeUnique();
    return own.data();
}

}  // namespace vorun
