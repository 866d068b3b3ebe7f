#pragma once

#include <string>

#include "neural/NeuralModel.h"

namespace vorun {

/**
 * Loads a model from a file of the platform.
 *
 * @param model default-constructed; of no use after a failure.
 * @return false if the file cannot be opened or is refused. Raises nothing while loading.
 */
bool loadModelFile(NeuralModel<float>& model, const std::string& path);

}  // namespace vorun
