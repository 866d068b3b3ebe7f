#include <algorithm>
#include <cstddef>
#include <fftw3.h>

#include "TransformPeers.h"

namespace vorun::benchmarks {
namespace {

struct Arrays {
    explicit Arrays(std::int32_t order)
        : length(1 << order),
          samples(fftwf_alloc_real(static_cast<std::size_t>(length))),
          bins(fftwf_alloc_complex(static_cast<std::size_t>(length) / 2 + 1)) {}
    ~Arrays() {
        fftwf_free(samples);
        fftwf_free(bins);
    }
    Arrays(const Arrays&) = delete;
    Arrays& operator=(const Arrays&) = delete;

    int length;
    float* samples;
    fftwf_complex* bins;
};

/** The plans of both directions, which planning writes into the arrays for. */
struct Plans {
    Plans(const Arrays& arrays, unsigned planning)
        : forward(fftwf_plan_dft_r2c_1d(arrays.length, arrays.samples, arrays.bins, planning)),
          inverse(fftwf_plan_dft_c2r_1d(arrays.length, arrays.bins, arrays.samples, planning)) {}
    ~Plans() {
        fftwf_destroy_plan(forward);
        fftwf_destroy_plan(inverse);
    }
    Plans(const Plans&) = delete;
    Plans& operator=(const Plans&) = delete;

    fftwf_plan forward;
    fftwf_plan inverse;
};

class FftwTransform : public TransformPeer {
  public:
    explicit FftwTransform(std::int32_t order)
        : arrays_(limitPlanning(order)), plans_(arrays_, FFTW_MEASURE) {
        refill();
    }

    void forward() override { fftwf_execute(plans_.forward); }
    void inverse() override { fftwf_execute(plans_.inverse); }

    void refill() final {
        std::fill(arrays_.samples, arrays_.samples + arrays_.length, 1.0F);
        std::fill(&arrays_.bins[0][0], &arrays_.bins[arrays_.length / 2][0], 1.0F);
    }

  private:
    /** Without a limit the plans of 2^24 take nine minutes, and each order more than twice as long
     * as the one before: beyond, it is the best plan found in two minutes for each direction. */
    static std::int32_t limitPlanning(std::int32_t order) {
        fftwf_set_timelimit(order <= 24 ? FFTW_NO_TIMELIMIT : 120.0);
        return order;
    }

    Arrays arrays_;
    Plans plans_;
};

}  // namespace

TransformPeerKind fftwTransform() {
    constexpr std::int32_t largest = 29;
    return {"fftw", largest,
            [](std::int32_t order) { return std::make_unique<FftwTransform>(order); },
            [](std::int32_t order) -> std::function<void()> {
                return [arrays = std::make_shared<Arrays>(order)] {
                    // It remembers what it has planned.
                    fftwf_forget_wisdom();
                    const Plans plans(*arrays, FFTW_ESTIMATE);
                };
            }};
}

}  // namespace vorun::benchmarks
