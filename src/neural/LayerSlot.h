#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <variant>

namespace vorun {

template <class T>
class BaseLayer;

/** The second alternative of a slot. Nothing makes one. */
struct ReservedLayer {};

/** What a name stands for; only the first alternative is ever stored. */
template <class T>
using LayerSlot = std::variant<std::shared_ptr<BaseLayer<T>>, std::shared_ptr<ReservedLayer>>;

/** Every layer of a model by name, in ascending byte order; owns the layers. */
template <class T>
using LayerMap = std::map<std::string, LayerSlot<T>>;

/** A shared reference to the slot's layer; throws "bad variant access" for another alternative. */
template <class T>
std::shared_ptr<BaseLayer<T>> layerOf(const LayerSlot<T>& slot) {
    if (const auto* layer = std::get_if<0>(&slot)) {
        return *layer;
    }
    throw std::bad_variant_access();
}

/** The layer of that name; throws std::out_of_range, or as layerOf() does. */
template <class T>
std::shared_ptr<BaseLayer<T>> findLayer(const LayerMap<T>& layers, const std::string& name) {
    const auto entry = layers.find(name);
    if (entry == layers.end()) {
        throw std::out_of_range("invalid map<K, T> key");
    }
    return layerOf<T>(entry->second);
}

}  // namespace vorun
