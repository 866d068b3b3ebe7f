#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/BinaryStream.h"
#include "inspect/FileContents.h"
#include "inspect/Framing.h"
#include "inspect/GraphFlow.h"

namespace vorun::inspect {

/** A model file that the engine takes, as far as it can be told without running it. */
struct Description {
    FileContents contents;
    /** Look-ahead of the graph in frames, as the engine finds it. */
    std::int32_t lookaheadFrames = 0;
    Framing framing;
    GraphFlow graph;
    /** Those of the header, then those of the graph. */
    std::vector<std::string> warnings;
};

struct Inspection {
    /** Nothing for a file that the engine refuses. */
    std::optional<Description> description;
    /** Why it does: byte, place and reason. */
    std::string refusal;
};

/** Lets the engine load the file, and reads it once more to tell what is in it. */
Inspection inspect(const std::shared_ptr<BinaryInputStream>& stream);

}  // namespace vorun::inspect
