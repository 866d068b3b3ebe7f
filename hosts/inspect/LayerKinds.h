#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inspect/FileContents.h"
#include "inspect/Frames.h"

namespace vorun::inspect {

class RecordReader;

/** What the program knows of one layer type. */
struct LayerKind {
    std::int32_t type;
    const char* className;
    bool hasSeveralInputs;
    /** Reads what stands behind the names of the inputs. */
    void (*read)(RecordReader& reader, LayerRecord& record);
    /** What becomes of frames of these shapes; there is at least one. */
    Flow (*follow)(const LayerRecord& record, const std::vector<Frames>& inputs);
    /** The parameters in words. */
    std::string (*describe)(const LayerRecord& record);
};

/** The entry of a type number in a file; null for a number that no layer has. */
const LayerKind* kindOf(std::int32_t type);

}  // namespace vorun::inspect
