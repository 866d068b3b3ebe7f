#include "audio/ComplexSignal32.h"

#include "foundation/vector/CheckedCall.h"

namespace vorun {

ComplexSignal32::ComplexSignal32(std::int32_t channelCount, std::int32_t bins)
    : SignalHandle<Ipp32fc>(channelCount, bins) {}

ComplexSignal32 ComplexSignal32::scaled(Ipp32fc factor) const {
    if (!hasBuffer()) {
        return {};
    }
    ComplexSignal32 product(channels(), length());
    for (std::int32_t c = 0; c < channels(); ++c) {
        checkedCall(length(), [&] {
            return ippsMulC_32fc(readData(c), factor, product.channelData(c), length());
        });
    }
    return product;
}

ComplexSignal32 ComplexSignal32::minus(const ComplexSignal32& other) const {
    if (!hasBuffer()) {
        return {};
    }
    requireCoveredBy(other);
    ComplexSignal32 difference(channels(), length());
    for (std::int32_t c = 0; c < channels(); ++c) {
        checkedCall(length(), [&] {
            return ippsSub_32fc(other.readData(c), readData(c), difference.channelData(c),
                                length());
        });
    }
    return difference;
}

void ComplexSignal32::multiplyBy(const ComplexSignal32& other) {
    requireCoveredBy(other);
    for (std::int32_t c = 0; c < channels(); ++c) {
        checkedCall(length(), [&] {
            Ipp32fc* bins = channelData(c);
            return ippsMul_32fc(bins, other.readData(c), bins, length());
        });
    }
}

void ComplexSignal32::scaleBy(Ipp32fc factor) {
    for (std::int32_t c = 0; c < channels(); ++c) {
        checkedCall(length(), [&] {
            Ipp32fc* bins = channelData(c);
            return ippsMulC_32fc(bins, factor, bins, length());
        });
    }
}

void ComplexSignal32::add(const ComplexSignal32& other) {
    requireCoveredBy(other);
    for (std::int32_t c = 0; c < channels(); ++c) {
        checkedCall(length(), [&] {
            Ipp32fc* bins = channelData(c);
            return ippsAdd_32fc(bins, other.readData(c), bins, length());
        });
    }
}

}  // namespace vorun
