#include "audio/Signal64.h"

#include "audio/Signal32.h"
#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

Signal64::Signal64(std::int32_t channelCount, std::int32_t samples)
    : SignalHandle<double>(channelCount, samples) {}

Signal32 Signal64::toFloat() const {
    if (!hasBuffer()) {
        return {};
    }
    Signal32 narrow(channels(), length());
    for (std::int32_t c = 0; c < channels(); ++c) {
        checkedCall(length(), [&] {
            return ippsConvert_64f32f(readData(c), narrow.channelData(c), length());
        });
    }
    return narrow;
}

}  // namespace vorun
