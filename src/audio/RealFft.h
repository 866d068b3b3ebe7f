#pragma once

#include <cstdint>

#include "audio/ComplexSignal32.h"
#include "audio/Signal32.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

/**
 * Transforms signals of N samples to spectra of N / 2 + 1 bins and back, channel by channel.
 *
 * Neither direction scales: forward then inverse multiplies by N. N is meant to be a power of two;
 * for another size the plan is that of the next lower power, the samples beyond it are not
 * transformed, and the outputs beyond it are zero.
 *
 * The plan is built at the first transform of a size and kept. A size without a plan makes the
 * transform raise std::runtime_error. One thread at a time. A copy starts without a plan.
 */
class RealFft {
  public:
    RealFft() = default;
    ~RealFft();
    RealFft(const RealFft& other) noexcept;
    RealFft& operator=(const RealFft& other) noexcept;
    RealFft(RealFft&& other) noexcept;
    RealFft& operator=(RealFft&& other) noexcept;

    /** X[k] = sum of x[n] * exp(-2 pi j k n / N). The opposite of inverse(). */
    ComplexSignal32 forward(const Signal32& signal);

    /**
     * x[n] = sum of X[k] * exp(+2 pi j k n / N) over the Hermitian extension of the bins, of
     * 2 * bins - 2 samples. The imaginary parts of the first and last bin are not used. The
     * opposite of forward().
     */
    Signal32 inverse(const ComplexSignal32& spectrum);

    bool hasPlan() const noexcept { return realSpec_ != nullptr; }
    /** Samples for which the plan was built; 0 before the first transform. */
    std::int32_t size() const noexcept { return size_; }
    /** floor(log2(size)), 0 for a size below 2. */
    std::int32_t order() const noexcept { return order_; }

  private:
    void release() noexcept;
    void swap(RealFft& other) noexcept;
    void buildPlan(std::int32_t size);

    void* complexSpec_ = nullptr;  // Reserved for a complex transform; never built.
    IppsFFTSpec_R_32f* realSpec_ = nullptr;
    unsigned char* specMemory_ = nullptr;
    unsigned char* workBuffer_ = nullptr;
    unsigned char* initBuffer_ = nullptr;
    std::int32_t size_ = 0;
    std::int32_t order_ = 0;
};

}  // namespace vorun
