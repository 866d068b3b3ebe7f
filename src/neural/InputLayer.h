#pragma once

#include <cstdint>

#include "neural/BaseLayer.h"

namespace vorun {

/** The one entrance of a model: hands the very tensor that it is given to its consumers. */
template <class T>
class InputLayer : public BaseLayer<T> {
  public:
    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;
    /** Tells the graph behind it how large its file is, in bytes. */
    void TakeFileSize(std::int64_t bytes) { this->graph()->setFileSize(bytes); }
};

extern template class InputLayer<float>;

}  // namespace vorun
