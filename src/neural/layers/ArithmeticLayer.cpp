#include "neural/layers/ArithmeticLayer.h"

#include <cstddef>
#include <stdexcept>

#include "foundation/vector/CheckedCall.h"
#include "neural/ModelReader.h"

namespace vorun {
namespace {

constexpr std::int32_t multiply = 0;
constexpr std::int32_t divide = 1;
constexpr std::int32_t add = 2;
constexpr std::int32_t subtract = 3;

}  // namespace

template <class T>
ArithmeticLayer<T>::ArithmeticLayer(LayerMap<T>& layers, ModelReader& reader,
                                    std::int32_t /*version*/)
    : BaseQueuedLayer<T>(layers, reader), operation_(reader.ReadInt8()) {}

template <class T>
bool ArithmeticLayer<T>::ProcessInputs(const std::vector<Tensor<T>>& inputs,
                                       const std::vector<BaseLayer<T>*>& /*sources*/) {
    output_ = inputs.at(0);
    output_.MakeUnique();
    const bool folds = operation_ >= multiply && operation_ <= subtract;
    for (std::size_t i = 1; i < inputs.size() && folds; ++i) {
        Fold(inputs[i], output_.data(), output_.volume());
    }
    return this->PropagateToConsumers(output_, this);
}

template <class T>
void ArithmeticLayer<T>::Fold(const Tensor<T>& next, T* result, std::int32_t count) const {
    if (next.volume() < count) {
        throw std::runtime_error("arithmetic on frames of different sizes");
    }
    const T* on = next.readData();
    checkedCall(count, [&] {
        switch (operation_) {
            case multiply:
                return ippsMul_32f(result, on, result, count);
            case divide:
                return ippsDiv_32f(result, on, result, count);
            case add:
                return ippsAdd_32f(result, on, result, count);
            default:
                return ippsSub_32f(result, on, result, count);
        }
    });
}

template class ArithmeticLayer<float>;

}  // namespace vorun
