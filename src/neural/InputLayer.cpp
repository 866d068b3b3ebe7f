#include "neural/InputLayer.h"

namespace vorun {

template <class T>
bool InputLayer<T>::AddTensor(const Tensor<T>& input, const BaseLayer<T>* /*source*/) {
    this->graph()->noteInputChannels(input.rank() > 2 ? input.dim(2) : 1);
    return this->PropagateToConsumers(input, this);
}

template class InputLayer<float>;

}  // namespace vorun
