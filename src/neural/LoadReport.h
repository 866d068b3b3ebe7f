#pragma once

#include <cstdint>
#include <string>

namespace vorun {

/** Why a model file was refused, for programs that show it to a person. */
struct LoadReport {
    /** Empty after a load that succeeded. */
    std::string reason;
    /** Where in the file reading stood at the refusal, in bytes from its start. */
    std::int64_t byte = 0;
};

}  // namespace vorun
