#pragma once

#include <cstdint>
#include <string>

#include "foundation/BinaryStream.h"
#include "inspect/FileContents.h"
#include "neural/ModelReader.h"

namespace vorun::inspect {

/** The engine's reader, with tensors told rather than kept. Throws as the engine's does. */
class RecordReader {
  public:
    explicit RecordReader(BinaryInputStream& stream) : stream_(stream), reader_(stream) {}

    ModelReader& plain() { return reader_; }
    StoredTensor readTensor(const std::string& role);
    void readStrides(LayerRecord& record);

    std::int32_t version() const { return version_; }
    void setVersion(std::int32_t version) { version_ = version; }

  private:
    StoredAs peekElementType();

    BinaryInputStream& stream_;
    ModelReader reader_;
    std::int32_t version_ = 0;
};

}  // namespace vorun::inspect
