#pragma once

#include "neural/NeuralModel.h"
#include "neural/Tensor.h"

namespace vorun {

/** The object behind a host's model handle. One thread at a time. */
struct ModelHandle {
    /** Passes tensors through until a file is loaded. */
    NeuralModel<float> model;
    /** What the latest vorunAddTensor() gave; empty until then. */
    Tensor<float> result;
};

}  // namespace vorun
