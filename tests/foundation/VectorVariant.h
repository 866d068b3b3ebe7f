#pragma once

#include <gtest/gtest.h>
#include <string>

#include "foundation/vector/VectorDispatch.h"

namespace vorun {

/// For the set-up of a test that runs at one index.
inline void forceIndexOrSkip(int index) {
    if (!dispatch::forceIndex(index)) {
        GTEST_SKIP() << "This processor cannot run dispatch index " << index;
    }
}

/// Runs each test once for every dispatch index; what this processor lacks is reported as skipped.
class VectorVariant : public testing::TestWithParam<int> {
  protected:
    void SetUp() override { forceIndexOrSkip(GetParam()); }
    void TearDown() override { dispatch::forceIndex(dispatch::undetectedIndex); }
};

inline std::string nameOfIndex(const testing::TestParamInfo<int>& info) {
    return "Index" + std::to_string(info.param);
}

}  // namespace vorun

/// Declares the suite of a test file.
// NOLINTBEGIN(bugprone-macro-parentheses): the argument is the name of a class.
#define VORUN_VECTOR_SUITE(Suite)                                                               \
    class Suite : public vorun::VectorVariant {};                                               \
    INSTANTIATE_TEST_SUITE_P(AllIndices, Suite, testing::Range(0, vorun::dispatch::indexCount), \
                             vorun::nameOfIndex)
// NOLINTEND(bugprone-macro-parentheses)
