#include "inspect/RecordReader.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "neural/TensorReader.h"

namespace vorun::inspect {
namespace {

constexpr std::int32_t firstVersionWithElementType = 4105;

}  // namespace

StoredTensor RecordReader::readTensor(const std::string& role) {
    StoredTensor stored;
    stored.role = role;
    stored.storedAs = peekElementType();
    const Tensor<float> tensor = ReadTensor<float>(reader_, version_);
    stored.shape = tensor.shape();
    stored.values = std::max(tensor.volume(), 0);
    const float* const values = tensor.readData();
    stored.nonFinite = std::count_if(values, values + stored.values,
                                     [](float value) { return !std::isfinite(value); });
    return stored;
}

void RecordReader::readStrides(LayerRecord& record) {
    record.timeStride = reader_.ReadInt8();
    record.heightStride = reader_.ReadInt8();
    record.timeDilation = reader_.ReadInt8();
    reader_.ReadInt8();  // Reserved; nothing reads it.
    record.lookahead = reader_.ReadInt8();
}

/** The engine's reader keeps to itself how the values were stored. */
StoredAs RecordReader::peekElementType() {
    if (version_ < firstVersionWithElementType) {
        return StoredAs::single;
    }
    const std::int64_t start = reader_.position();
    const std::int32_t elementType = reader_.ReadUnsignedByte();
    if (!stream_.SetPosition(static_cast<std::uint64_t>(start))) {
        throw std::runtime_error("model file cannot be positioned");
    }
    switch (elementType) {
        case 0:
            return StoredAs::half;
        case 1:
            return StoredAs::single;
        default:
            return StoredAs::nothing;
    }
}

}  // namespace vorun::inspect
