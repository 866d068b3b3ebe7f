#include "neural/TensorReader.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "neural/HalfFloat.h"

namespace vorun {
namespace {

constexpr std::int32_t firstVersionWithElementType = 4105;
constexpr std::int32_t halfElements = 0;
constexpr std::int32_t singleElements = 1;

std::vector<std::int32_t> readShape(ModelReader& reader) {
    const std::int32_t rank = reader.ReadInt8();
    if (rank < 0) {
        throw std::length_error("vector too long");
    }
    std::vector<std::int32_t> shape(static_cast<std::size_t>(rank));
    for (std::int32_t& dimension : shape) {
        dimension = reader.ReadInt32();
    }
    return shape;
}

/** Compares what the values need with what the file holds, before memory is taken for them. */
void requireValues(ModelReader& reader, std::int32_t elementType, std::int64_t volume) {
    constexpr std::int64_t halfBytes = 2;
    constexpr std::int64_t singleBytes = 4;
    if (elementType == singleElements) {
        reader.RequireBytes(volume * singleBytes);
    } else if (elementType == halfElements) {
        reader.RequireBytes(volume * halfBytes);
    } else {
        reader.ChargeUnbackedBytes(volume * singleBytes);
    }
}

void readHalves(ModelReader& reader, Tensor<float>& tensor) {
    std::vector<std::uint16_t> words(static_cast<std::size_t>(tensor.volume()));
    reader.ReadBytes(words.data(), static_cast<std::int64_t>(words.size()) * 2);
    std::transform(words.begin(), words.end(), tensor.data(), expandHalf);
}

void readValues(ModelReader& reader, std::int32_t elementType, Tensor<float>& tensor) {
    if (elementType == singleElements) {
        reader.ReadBytes(tensor.data(), std::int64_t{tensor.volume()} * 4);
    } else if (elementType == halfElements) {
        readHalves(reader, tensor);
    } else {
        tensor.Zero();
    }
}

}  // namespace

template <class T>
Tensor<T> ReadTensor(ModelReader& reader, std::int32_t version) {
    static_assert(std::is_same_v<T, float>, "the file holds 16-bit and 32-bit floats only");
    const std::int32_t elementType =
        version >= firstVersionWithElementType ? reader.ReadUnsignedByte() : singleElements;
    std::vector<std::int32_t> shape = readShape(reader);
    const std::int32_t volume = wrappedVolume(shape);
    if (volume > 0) {
        requireValues(reader, elementType, volume);
    }
    Tensor<T> tensor = Tensor<T>::fromFileShape(std::move(shape));
    if (volume > 0) {
        readValues(reader, elementType, tensor);
    }
    return tensor;
}

template Tensor<float> ReadTensor<float>(ModelReader& reader, std::int32_t version);

}  // namespace vorun
