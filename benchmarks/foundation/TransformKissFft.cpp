#include <algorithm>
#include <kiss_fftr.h>

#include "TransformPeers.h"

namespace vorun::benchmarks {
namespace {

struct Release {
    void operator()(kiss_fftr_cfg plan) const { kiss_fftr_free(plan); }
};
using Plan = std::unique_ptr<kiss_fftr_state, Release>;

Plan planOf(std::int32_t order, bool isInverse) {
    return Plan(kiss_fftr_alloc(1 << order, isInverse ? 1 : 0, nullptr, nullptr));
}

class KissFftTransform : public TransformPeer {
  public:
    explicit KissFftTransform(std::int32_t order)
        : samples_(std::size_t{1} << order),
          bins_(samples_.size() / 2 + 1),
          forwardPlan_(planOf(order, false)),
          inversePlan_(planOf(order, true)) {
        refill();
    }

    void forward() override { kiss_fftr(forwardPlan_.get(), samples_.data(), bins_.data()); }
    void inverse() override { kiss_fftri(inversePlan_.get(), bins_.data(), samples_.data()); }

    void refill() final {
        std::fill(samples_.begin(), samples_.end(), 1.0F);
        std::fill(bins_.begin(), bins_.end(), kiss_fft_cpx{1.0F, 0.0F});
    }

  private:
    std::vector<float> samples_;
    std::vector<kiss_fft_cpx> bins_;
    Plan forwardPlan_;
    Plan inversePlan_;
};

}  // namespace

TransformPeerKind kissFftTransform() {
    constexpr std::int32_t largest = 23;
    return {"kissfft", largest,
            [](std::int32_t order) { return std::make_unique<KissFftTransform>(order); },
            [](std::int32_t order) -> std::function<void()> {
                return [order] {
                    planOf(order, false);
                    planOf(order, true);
                };
            }};
}

}  // namespace vorun::benchmarks
