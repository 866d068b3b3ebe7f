#include "restoration/PolarForm.h"

#include <stdexcept>

#include "foundation/vector/CheckedCall.h"

namespace vorun {

namespace {

using RowOperation = IppStatus (*)(const Ipp32fc*, float*, std::int32_t);

Signal32 convertRows(const ComplexSignal32& signal, RowOperation operation) {
    const std::int32_t length = signal.length();
    Signal32 result(signal.channels(), length);
    for (std::int32_t channel = 0; channel < signal.channels(); ++channel) {
        checkedCall(length, [&] {
            return operation(signal.readData(channel), result.channelData(channel), length);
        });
    }
    return result;
}

}  // namespace

Signal32 magnitudeOf(const ComplexSignal32& signal) {
    return convertRows(signal, ippsMagnitude_32fc);
}

Signal32 phaseOf(const ComplexSignal32& signal) {
    return convertRows(signal, ippsPhase_32fc);
}

ComplexSignal32 fromPolar(const Signal32& magnitude, const Signal32& phase) {
    const std::int32_t length = magnitude.length();
    if (phase.channels() < magnitude.channels() || phase.length() < length) {
        throw std::runtime_error("phase is smaller than the magnitude");
    }
    ComplexSignal32 result(magnitude.channels(), length);
    for (std::int32_t channel = 0; channel < magnitude.channels(); ++channel) {
        checkedCall(length, [&] {
            return ippsPolarToCart_32fc(magnitude.readData(channel), phase.readData(channel),
                                        result.channelData(channel), length);
        });
    }
    return result;
}

}  // namespace vorun
