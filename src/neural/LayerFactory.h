#pragma once

#include <cstdint>
#include <memory>

#include "neural/BaseLayer.h"
#include "neural/LayerSlot.h"

namespace vorun {

class ModelReader;

/**
 * Constructs the layer of a file's type number from the record at the reader's position, connected
 * to its inputs. Null, with nothing read, for a number that no class has.
 */
template <class T>
std::shared_ptr<BaseLayer<T>> MakeLayer(std::int32_t type, LayerMap<T>& layers, ModelReader& reader,
                                        std::int32_t version);

extern template std::shared_ptr<BaseLayer<float>> MakeLayer<float>(std::int32_t type,
                                                                   LayerMap<float>& layers,
                                                                   ModelReader& reader,
                                                                   std::int32_t version);

}  // namespace vorun
