#include "audio/RealFft.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "audio/SaturatedSize.h"
#include "foundation/vector/CheckedCall.h"

namespace vorun {

namespace {

std::int32_t floorLog2(std::int32_t size) {
    return size < 2
               ? 0
               : static_cast<std::int32_t>(std::bit_width(static_cast<std::uint32_t>(size))) - 1;
}

// A plan of a lower power of two leaves the end of a row unwritten.
template <class T>
void clearBeyond(T* row, std::int32_t written, std::int32_t length) {
    std::fill(row + std::min(written, length), row + length, T{});
}

}  // namespace

RealFft::~RealFft() {
    release();
}

RealFft::RealFft(const RealFft& /*other*/) noexcept {}

RealFft& RealFft::operator=(const RealFft& other) noexcept {
    if (this != &other) {
        release();
    }
    return *this;
}

RealFft::RealFft(RealFft&& other) noexcept {
    swap(other);
}

RealFft& RealFft::operator=(RealFft&& other) noexcept {
    if (this != &other) {
        release();
        swap(other);
    }
    return *this;
}

ComplexSignal32 RealFft::forward(const Signal32& signal) {
    ComplexSignal32 spectrum(signal.channels(), signal.length() / 2 + 1);
    if (realSpec_ == nullptr || signal.length() != size_) {
        buildPlan(signal.length());
    }
    const std::int32_t bins = (1 << order_) / 2 + 1;
    for (std::int32_t c = 0; c < signal.channels(); ++c) {
        Ipp32fc* row = spectrum.channelData(c);
        checkStatus(ippsFFTFwd_RToCCS_32f(signal.readData(c), reinterpret_cast<float*>(row),
                                          realSpec_, workBuffer_));
        clearBeyond(row, bins, spectrum.length());
    }
    return spectrum;
}

Signal32 RealFft::inverse(const ComplexSignal32& spectrum) {
    const std::int32_t samples =
        saturatedSize(2 * static_cast<std::int64_t>(spectrum.length()) - 2);
    Signal32 signal(spectrum.channels(), samples);
    if (realSpec_ == nullptr || spectrum.length() != size_ / 2 + 1) {
        buildPlan(samples);
    }
    for (std::int32_t c = 0; c < spectrum.channels(); ++c) {
        float* row = signal.channelData(c);
        checkStatus(ippsFFTInv_CCSToR_32f(reinterpret_cast<const float*>(spectrum.readData(c)), row,
                                          realSpec_, workBuffer_));
        clearBeyond(row, 1 << order_, samples);
    }
    return signal;
}

void RealFft::release() noexcept {
    ippsFree(specMemory_);
    ippsFree(workBuffer_);
    ippsFree(initBuffer_);
    complexSpec_ = nullptr;
    realSpec_ = nullptr;
    specMemory_ = nullptr;
    workBuffer_ = nullptr;
    initBuffer_ = nullptr;
    size_ = 0;
    order_ = 0;
}

void RealFft::swap(RealFft& other) noexcept {
    std::swap(complexSpec_, other.complexSpec_);
    std::swap(realSpec_, other.realSpec_);
    std::swap(specMemory_, other.specMemory_);
    std::swap(workBuffer_, other.workBuffer_);
    std::swap(initBuffer_, other.initBuffer_);
    std::swap(size_, other.size_);
    std::swap(order_, other.order_);
}

// Statuses are not looked at: a size that gets no plan leaves realSpec_ null, and the transform
// raises for it.
void RealFft::buildPlan(std::int32_t size) {
    release();
    size_ = size;
    order_ = floorLog2(size);
    std::int32_t specSize = 0;
    std::int32_t initSize = 0;
    std::int32_t workSize = 0;
    ippsFFTGetSize_R_32f(order_, ippFftDivideNeither, ippHintFast, &specSize, &initSize, &workSize);
    specMemory_ = ippsMalloc_8u(specSize);
    workBuffer_ = ippsMalloc_8u(workSize);
    initBuffer_ = ippsMalloc_8u(initSize);
    ippsFFTInit_R_32f(&realSpec_, order_, ippFftDivideNeither, ippHintFast, specMemory_,
                      initBuffer_);
}

}  // namespace vorun
