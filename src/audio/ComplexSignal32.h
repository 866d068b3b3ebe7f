#pragma once

#include <cstdint>

#include "audio/SignalHandle.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

/**
 * Multichannel spectrum, a handle as SignalHandle tells. One channel is a row of length() bins,
 * real part first; a row of N / 2 + 1 bins is the packed form of the real transform of N samples,
 * from 0 Hz to the Nyquist frequency, unscaled.
 *
 * All operations work on all bins of all channels. Operations on two signals raise
 * std::runtime_error if the second one is smaller; a failed vector primitive raises
 * "IPP exception: ...". Operations on an empty handle do nothing, or return an empty handle.
 */
class ComplexSignal32 : public SignalHandle<Ipp32fc> {
  public:
    ComplexSignal32() = default;
    /** Bins are undefined. */
    ComplexSignal32(std::int32_t channels, std::int32_t length);

    /** this * factor. */
    ComplexSignal32 scaled(Ipp32fc factor) const;
    /** this - other. */
    ComplexSignal32 minus(const ComplexSignal32& other) const;

    /** this = this * other, bin by bin. */
    void multiplyBy(const ComplexSignal32& other);
    /** this = this * factor. */
    void scaleBy(Ipp32fc factor);
    /** this = this + other. */
    void add(const ComplexSignal32& other);
};

}  // namespace vorun
