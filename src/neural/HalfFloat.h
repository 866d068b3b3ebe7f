#pragma once

#include <cstdint>

namespace vorun {

/**
 * Expands a 16-bit float of a model file. Unlike the usual half precision it has no infinities and
 * no NaNs: exponent 31 is an ordinary one, with values (1 + m / 1024) * 65536.
 */
float expandHalf(std::uint16_t word);

}  // namespace vorun
