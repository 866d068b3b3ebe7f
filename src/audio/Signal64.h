#pragma once

#include <cstdint>

#include "audio/SignalHandle.h"

namespace vorun {

class Signal32;

/** Multichannel block of 64-bit float samples, a handle as SignalHandle tells. */
class Signal64 : public SignalHandle<double> {
  public:
    Signal64() = default;
    /** Samples are undefined. */
    Signal64(std::int32_t channels, std::int32_t length);

    /**
     * The same samples as floats, clamped to the finite float range. The opposite of
     * Signal32::toDouble().
     */
    Signal32 toFloat() const;
};

}  // namespace vorun
