#pragma once

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>

#include "GuardedArray.h"
#include "foundation/vector/VectorPrimitives.h"

namespace vorun {

/// A plan in memory of exactly the reported sizes, at any byte offset.
class GuardedPlan {
  public:
    explicit GuardedPlan(std::int32_t planOrder, std::int32_t flag = 8, std::size_t offset = 0)
        : sizes(querySizes(planOrder, flag)),
          specMemory(sizes.spec, offset),
          workMemory(sizes.work, offset) {
        GuardedArray<unsigned char> initMemory(sizes.init, offset);
        EXPECT_EQ(ippsFFTInit_R_32f(&spec, planOrder, flag, 1, specMemory.data(),
                                    sizes.init == 0 ? nullptr : initMemory.data()),
                  0);
        EXPECT_TRUE(specMemory.isIntact() && initMemory.isIntact());
    }

    void forward(const float* source, float* target) {
        EXPECT_EQ(ippsFFTFwd_RToCCS_32f(source, target, spec, work()), 0);
        EXPECT_TRUE(workMemory.isIntact());
    }
    void inverse(const float* source, float* target) {
        EXPECT_EQ(ippsFFTInv_CCSToR_32f(source, target, spec, work()), 0);
        EXPECT_TRUE(workMemory.isIntact());
    }

    const IppsFFTSpec_R_32f* get() const { return spec; }
    unsigned char* work() { return sizes.work == 0 ? nullptr : workMemory.data(); }

  private:
    struct Sizes {
        std::size_t spec;
        std::size_t init;
        std::size_t work;
    };
    static Sizes querySizes(std::int32_t order, std::int32_t flag) {
        std::int32_t spec = -1;
        std::int32_t init = -1;
        std::int32_t work = -1;
        EXPECT_EQ(ippsFFTGetSize_R_32f(order, flag, 1, &spec, &init, &work), 0);
        EXPECT_TRUE(spec > 0 && init >= 0 && work >= 0);
        return {static_cast<std::size_t>(spec), static_cast<std::size_t>(init),
                static_cast<std::size_t>(work)};
    }

    Sizes sizes;
    GuardedArray<unsigned char> specMemory;
    GuardedArray<unsigned char> workMemory;
    IppsFFTSpec_R_32f* spec = nullptr;
};

}  // namespace vorun
