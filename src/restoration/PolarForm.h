#pragma once

#include "audio/ComplexSignal32.h"
#include "audio/Signal32.h"

namespace vorun {

/** Magnitude of each bin; a new signal of the same shape. */
Signal32 magnitudeOf(const ComplexSignal32& signal);

/** Phase of each bin in radians, -pi to pi; a new signal of the same shape. */
Signal32 phaseOf(const ComplexSignal32& signal);

/** Undoes magnitudeOf() and phaseOf(): a new signal of the magnitude's shape. */
ComplexSignal32 fromPolar(const Signal32& magnitude, const Signal32& phase);

}  // namespace vorun
