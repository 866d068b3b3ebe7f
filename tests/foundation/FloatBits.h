#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace vorun {

inline std::size_t sizeOf(std::int64_t count) {
    return static_cast<std::size_t>(count);
}

/// Whether two rows are the same to the bit, signs of zero and payloads of NaN included.
inline bool sameBits(const std::vector<float>& a, const std::vector<float>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0);
}

}  // namespace vorun
