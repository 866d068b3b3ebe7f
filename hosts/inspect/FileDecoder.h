#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "inspect/FileContents.h"
#include "inspect/RecordReader.h"

namespace vorun::inspect {

/**
 * Reads a model file for display. Looks only at what is needed to get to its end: whether the
 * engine takes the file is for the engine to say.
 */
class FileDecoder {
  public:
    static constexpr const char* tagPlace = "the tag";

    explicit FileDecoder(BinaryInputStream& stream) : reader_(stream) {}

    /** Throws std::exception where reading cannot go on; what was read until then stays. */
    void decode();

    const FileContents& contents() const { return contents_; }
    /** What stands at a byte that has been read, or was to be read next; such as "the header". */
    std::string placeOf(std::int64_t byte) const;
    /** What reading had got to. */
    std::string lastPlace() const;

  private:
    void enter(const std::string& place);
    void readHeader();
    void readFormats();
    void readBusNames();
    void readLayer(std::int32_t index);
    void readInputs(LayerRecord& record, bool hasSeveral);
    int feederOf(const std::string& name) const;

    RecordReader reader_;
    FileContents contents_;
    std::map<std::string, int> layers_ = {{"input", modelInput}};
    /** By their first byte. */
    std::map<std::int64_t, std::string> places_;
};

}  // namespace vorun::inspect
