#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>

#include "UlpDistance.h"
#include "foundation/vector/CheckedCall.h"

namespace vorun {
namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

std::string textOf(IppStatus status) {
    try {
        checkStatus(status);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(CheckedCall, NegativeStatusRaisesItsText) {
    EXPECT_EQ(textOf(-8), "IPP exception: ippStsNullPtrErr: Null pointer error");
    EXPECT_EQ(textOf(-100000), "IPP exception: ippStsUnknownStatusCodeErr: Unknown status code");
}

TEST(CheckedCall, SuccessAndWarningsPass) {
    EXPECT_EQ(textOf(0), "");
    EXPECT_EQ(textOf(ippStsDivByZero), "");
    EXPECT_EQ(textOf(ippStsLnNegArg), "");
}

TEST(CheckedCall, CountsBelowOneSkipTheOperation) {
    for (const std::int32_t count : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
        checkedCall(count, []() -> IppStatus {
            ADD_FAILURE() << "called";
            return ippStsNoErr;
        });
        copySamples<float>(nullptr, nullptr, count);
        zeroFloats(nullptr, count);
        clampBelow(nullptr, nullptr, 0.0F, count);
        clampAbove(nullptr, nullptr, 0.0F, count);
        clampRange(nullptr, nullptr, 1.0F, 0.0F, count);
    }
}

TEST(CheckedCall, PositiveCountRunsTheOperationOnceAndChecksIt) {
    int calls = 0;
    const auto operation = [&] {
        ++calls;
        return ippStsSizeErr;
    };
    EXPECT_THROW(checkedCall(1, operation), std::runtime_error);
    EXPECT_EQ(calls, 1);
}

TEST(CheckedCall, NullArraysOfAPositiveCountRaise) {
    float value = 0;
    EXPECT_THROW(copySamples<float>(nullptr, &value, 1), std::runtime_error);
    EXPECT_THROW(zeroFloats(nullptr, 1), std::runtime_error);
    EXPECT_THROW(clampRange(&value, nullptr, 0.0F, 1.0F, 1), std::runtime_error);
}

TEST(CheckedCall, CopySamplesCountsElementsOfAnyType) {
    const double wide[] = {1.5, -2.5, 3.5};
    double wideCopy[] = {0.0, 0.0, 9.0};
    copySamples(wide, wideCopy, 2);
    EXPECT_EQ(wideCopy[1], -2.5);
    EXPECT_EQ(wideCopy[2], 9.0);
    const Ipp32fc bins[] = {{1.0F, 2.0F}, {3.0F, 4.0F}};
    Ipp32fc binsCopy[2] = {};
    copySamples(bins, binsCopy, 2);
    EXPECT_EQ(binsCopy[1].im, 4.0F);
}

TEST(CheckedCall, ZeroFloatsClearsTheCountOnly) {
    float values[] = {1.0F, 2.0F, 3.0F};
    zeroFloats(values, 2);
    EXPECT_EQ(values[0], 0.0F);
    EXPECT_EQ(values[1], 0.0F);
    EXPECT_EQ(values[2], 3.0F);
}

TEST(CheckedCall, ClampBelowIsTheMaximumAndTurnsNanIntoTheLevel) {
    const float x[] = {-3.0F, 2.0F, nan};
    float d[3] = {};
    clampBelow(x, d, -1.0F, 3);
    EXPECT_EQ(d[0], -1.0F);
    EXPECT_EQ(d[1], 2.0F);
    EXPECT_EQ(d[2], -1.0F);
}

TEST(CheckedCall, ClampAboveIsTheMinimumAndKeepsNan) {
    const float x[] = {-3.0F, 2.0F, nan};
    float d[3] = {};
    clampAbove(x, d, 1.0F, 3);
    EXPECT_EQ(d[0], -3.0F);
    EXPECT_EQ(d[1], 1.0F);
    EXPECT_TRUE(std::isnan(d[2]));
}

TEST(CheckedCall, ClampRangeLimitsBothSidesAndTurnsNanIntoTheLowerOne) {
    float x[] = {-3.0F, 0.5F, 2.0F, nan};
    clampRange(x, x, -1.0F, 1.0F, 4);
    EXPECT_EQ(x[0], -1.0F);
    EXPECT_EQ(x[1], 0.5F);
    EXPECT_EQ(x[2], 1.0F);
    EXPECT_EQ(x[3], -1.0F);
    EXPECT_THROW(clampRange(x, x, 1.0F, -1.0F, 4), std::runtime_error);
}

}  // namespace
}  // namespace vorun
