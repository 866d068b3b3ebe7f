// The rules that hold for every operation of the list, and the corners of single ones.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <tuple>
#include <type_traits>

#include "UlpDistance.h"
#include "VectorSweep.h"
#include "VectorVariant.h"
#include "foundation/vector/VectorOperations.h"

namespace vorun {
namespace {

VORUN_VECTOR_SUITE(VectorContract);

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

// Calls an operation with good arguments, of which single ones are then spoilt. All its pointers
// lead into one block, so that any write shows.
template <class... Args>
class ArgumentChecks {
  public:
    explicit ArgumentChecks(IppStatus (*operationUnderTest)(Args...))
        : operation(operationUnderTest) {
        block.fill(0x3C);
    }

    void run() {
        constexpr std::size_t pointers = (std::size_t{std::is_pointer_v<Args>} + ...);
        for (std::size_t spoilt = 0; spoilt < pointers; ++spoilt) {
            EXPECT_EQ(callWith(spoilt, 4), ippStsNullPtrErr) << "pointer " << spoilt;
            EXPECT_EQ(callWith(spoilt, 0), ippStsNullPtrErr) << "before the length is looked at";
        }
        for (const std::int32_t len : {0, -1, std::numeric_limits<std::int32_t>::min()}) {
            EXPECT_EQ(callWith(pointers, len), ippStsSizeErr) << "length " << len;
        }
        for (const unsigned char byte : block) {
            ASSERT_EQ(byte, 0x3C) << "written after a failure";
        }
        EXPECT_GE(callWith(pointers, 4), 0) << "the good arguments";
    }

  private:
    template <class Arg>
    Arg argument(std::size_t& pointersLeft, std::int32_t len) {
        if constexpr (std::is_pointer_v<Arg>) {
            const bool spoilt = pointersLeft-- == 0;
            return spoilt ? nullptr : reinterpret_cast<Arg>(block.data());
        } else if constexpr (std::is_same_v<Arg, std::int32_t>) {
            return len;
        } else {
            return Arg{};
        }
    }

    IppStatus callWith(std::size_t spoiltPointer, std::int32_t len) {
        // A braced list is evaluated from left to right.
        std::tuple<Args...> arguments{argument<Args>(spoiltPointer, len)...};
        return std::apply(operation, arguments);
    }

    IppStatus (*operation)(Args...);
    alignas(64) std::array<unsigned char, 256> block{};
};

template <class... Args>
void checkArguments(const char* name, IppStatus (*operation)(Args...)) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, name);
    if constexpr ((std::is_same_v<Args, std::int32_t> || ...)) {
        ArgumentChecks<Args...>(operation).run();
    }
}

TEST_P(VectorContract, NullComesBeforeLengthAndNothingIsWritten) {
#define VORUN_CHECK(name, parameters, arguments, precondition) checkArguments(#name, &(name));
    VORUN_VECTOR_OPERATIONS(VORUN_CHECK)
#undef VORUN_CHECK
}

TEST_P(VectorContract, SubAndDivTakeTheirSecondSourceFirst) {
    const float a[] = {2.0F, 8.0F};
    const float b[] = {10.0F, 4.0F};
    float d[2] = {};
    EXPECT_EQ(ippsSub_32f(a, b, d, 2), 0);
    EXPECT_EQ(d[0], 8.0F);
    EXPECT_EQ(d[1], -4.0F);
    EXPECT_EQ(ippsDiv_32f(a, b, d, 2), 0);
    EXPECT_EQ(d[0], 5.0F);
    EXPECT_EQ(d[1], 0.5F);
}

TEST_P(VectorContract, MulCByZeroYieldsZerosForInfinityAndNan) {
    float x[] = {infinity, -infinity, nan, -3.0F};
    for (const float zero : {0.0F, -0.0F}) {
        float d[4] = {1.0F, 1.0F, 1.0F, 1.0F};
        EXPECT_EQ(ippsMulC_32f(x, zero, d, 4), 0);
        for (const float value : d) {
            EXPECT_TRUE(sameFloat(value, 0.0F));
        }
    }
}

TEST_P(VectorContract, AddCOfZeroKeepsTheNegativeZeroThatASumWouldLose) {
    const float x = -0.0F;
    float d = 1.0F;
    EXPECT_EQ(ippsAddC_32f(&x, 0.0F, &d, 1), 0);
    EXPECT_TRUE(sameFloat(d, -0.0F));
    d = 1.0F;
    EXPECT_EQ(ippsSubC_32f(&x, -0.0F, &d, 1), 0);
    EXPECT_TRUE(sameFloat(d, -0.0F));
}

TEST_P(VectorContract, NeutralScalarsCopyTheBitsAsTheyAre) {
    // Arithmetic would turn a signalling NaN into a quiet one.
    constexpr std::uint32_t bits[] = {0x7F800001U, 0xFF812345U, 0x80000000U, 0x00000001U};
    float x[4] = {};
    float d[4] = {};
    std::uint32_t got[4] = {};
    std::memcpy(x, bits, sizeof x);
    const auto expectCopy = [&](IppStatus status) {
        EXPECT_EQ(status, 0);
        std::memcpy(got, d, sizeof got);
        EXPECT_TRUE(std::equal(std::begin(got), std::end(got), bits));
        std::fill(std::begin(d), std::end(d), 0.0F);
    };
    expectCopy(ippsMulC_32f(x, 1.0F, d, 4));
    expectCopy(ippsAddC_32f(x, 0.0F, d, 4));
    expectCopy(ippsSubC_32f(x, 0.0F, d, 4));
}

TEST_P(VectorContract, ThresholdBelowZeroMapsNanToZeroAndKeepsNegativeZero) {
    const float x[] = {nan, -0.0F, -1.0F, 2.0F};
    float d[4] = {};
    EXPECT_EQ(ippsThreshold_LTVal_32f(x, d, 4, 0.0F, 0.0F), 0);
    EXPECT_TRUE(sameFloat(d[0], 0.0F));
    EXPECT_TRUE(sameFloat(d[1], -0.0F));
    EXPECT_TRUE(sameFloat(d[2], 0.0F));
    EXPECT_EQ(d[3], 2.0F);
}

TEST_P(VectorContract, ThresholdAboveZeroKeepsNan) {
    const float x[] = {nan, 3.0F, -3.0F};
    float d[3] = {};
    EXPECT_EQ(ippsThreshold_GTVal_32f(x, d, 3, 0.0F, 0.0F), 0);
    EXPECT_TRUE(std::isnan(d[0]));
    EXPECT_EQ(d[1], 0.0F);
    EXPECT_EQ(d[2], -3.0F);
}

TEST_P(VectorContract, CrossedThresholdLevelsAreRefusedAfterPointersAndLength) {
    const float x = 5.0F;
    float d = 1.0F;
    EXPECT_EQ(ippsThreshold_LTValGTVal_32f(&x, &d, 1, 2.0F, 0.0F, 1.0F, 0.0F), ippStsThresholdErr);
    EXPECT_EQ(d, 1.0F);
    EXPECT_EQ(ippsThreshold_LTValGTVal_32f(&x, &d, 0, 2.0F, 0.0F, 1.0F, 0.0F), ippStsSizeErr);
    EXPECT_EQ(ippsThreshold_LTValGTVal_32f(nullptr, &d, 0, 2.0F, 0.0F, 1.0F, 0.0F),
              ippStsNullPtrErr);
    EXPECT_EQ(ippsThreshold_LTValGTVal_32f(&x, &d, 1, 1.0F, 0.0F, 1.0F, 0.5F), 0)
        << "equal levels are in order";
    EXPECT_EQ(d, 0.5F);
}

TEST_P(VectorContract, ZeroDivisorsLeaveTheSignToTheDividend) {
    const float divisors[] = {-0.0F, 0.0F, -0.0F, 0.0F, 0.0F, -0.0F, 2.0F, nan};
    const float dividends[] = {1.0F, -1.0F, infinity, -infinity, 0.0F, nan, 8.0F, 1.0F};
    float d[8] = {};
    EXPECT_EQ(ippsDiv_32f(divisors, dividends, d, 8), ippStsDivByZero);
    EXPECT_EQ(d[0], infinity);
    EXPECT_EQ(d[1], -infinity);
    EXPECT_EQ(d[2], infinity);
    EXPECT_EQ(d[3], -infinity);
    EXPECT_TRUE(std::isnan(d[4]));
    EXPECT_TRUE(std::isnan(d[5]));
    EXPECT_EQ(d[6], 4.0F) << "elements after the zero are done";
    EXPECT_TRUE(std::isnan(d[7]));
}

TEST_P(VectorContract, EveryPairOfSpecialValuesDividesAsToldForItsKind) {
    std::array<float, specialValueCount * specialValueCount> divisors{};
    std::array<float, specialValueCount * specialValueCount> dividends{};
    std::array<float, specialValueCount * specialValueCount> d{};
    for (std::size_t i = 0; i < d.size(); ++i) {
        divisors[i] = specialValue<float>(i % specialValueCount);
        dividends[i] = specialValue<float>(i / specialValueCount);
    }
    EXPECT_EQ(ippsDiv_32f(divisors.data(), dividends.data(), d.data(),
                          static_cast<std::int32_t>(d.size())),
              ippStsDivByZero);
    for (std::size_t i = 0; i < d.size(); ++i) {
        if (divisors[i] != 0.0F) {
            const double exact =
                static_cast<double>(dividends[i]) / static_cast<double>(divisors[i]);
            EXPECT_TRUE(withinUlps(d[i], exact, 1.0)) << dividends[i] << " / " << divisors[i];
        }
    }
}

TEST_P(VectorContract, LnReportsAZeroBeforeANegative) {
    const float both[] = {-1.0F, 1.0F, -0.0F};
    const float negative[] = {1.0F, -infinity, nan};
    const float neither[] = {1.0F, infinity, nan};
    float d[3] = {};
    EXPECT_EQ(ippsLn_32f(both, d, 3), ippStsLnZeroArg);
    EXPECT_TRUE(std::isnan(d[0]));
    EXPECT_TRUE(sameFloat(d[1], 0.0F));
    EXPECT_EQ(d[2], -infinity);
    EXPECT_EQ(ippsLn_32f(negative, d, 3), ippStsLnNegArg);
    EXPECT_TRUE(std::isnan(d[1]) && std::isnan(d[2]));
    EXPECT_EQ(ippsLn_32f(neither, d, 3), 0);
    EXPECT_EQ(d[1], infinity);
}

TEST_P(VectorContract, MagnitudeOfTinyNumbersIsTheExactRootOfTheirSquares) {
    // 2^-64 squared is 2^-128, a subnormal float that still is exact.
    const Ipp32fc x[] = {{std::ldexp(1.0F, -64), 0.0F}, {0.0F, -0.0F}, {3.0F, -4.0F}};
    float d[3] = {};
    EXPECT_EQ(ippsMagnitude_32fc(x, d, 3), 0);
    EXPECT_EQ(d[0], std::ldexp(1.0F, -64));
    EXPECT_TRUE(sameFloat(d[1], 0.0F));
    EXPECT_EQ(d[2], 5.0F);
}

TEST_P(VectorContract, NarrowingALargeDoubleGivesTheLargestFloatNotInfinity) {
    const double x[] = {1.0e300, -1.0e300, std::numeric_limits<double>::infinity(),
                        std::numeric_limits<double>::quiet_NaN(), 3.402823466e+38};
    float d[5] = {};
    EXPECT_EQ(ippsConvert_64f32f(x, d, 5), 0);
    EXPECT_EQ(d[0], std::numeric_limits<float>::max());
    EXPECT_EQ(d[1], -std::numeric_limits<float>::max());
    EXPECT_EQ(d[2], std::numeric_limits<float>::max());
    EXPECT_TRUE(std::isnan(d[3]));
    EXPECT_EQ(d[4], std::numeric_limits<float>::max());
}

}  // namespace
}  // namespace vorun
