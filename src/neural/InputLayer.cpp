#include "neural/InputLayer.h"

namespace vorun {

template <class T>
bool InputLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    return this->PropagateToConsumers(input, this);
}

template class InputLayer<float>;

}  // namespace vorun
