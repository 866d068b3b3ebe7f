#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <vector>

#include "NaiveResampler.h"
#include "audio/PolyphaseFilter.h"

namespace vorun {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(PolyphaseFilter, SpansTheLengthInInputSamples) {
    EXPECT_EQ(PolyphaseFilter({48000.0, 16000.0}).taps(), 72);
    EXPECT_EQ(PolyphaseFilter({44100.0, 48000.0}).taps(), 66);
    EXPECT_EQ(PolyphaseFilter({16000.0, 48000.0}).taps(), 24);
}

TEST(PolyphaseFilter, RoundsTheLengthWithTiesToEven) {
    EXPECT_EQ(PolyphaseFilter({1000.0, 1000.0, 2.5F}).taps(), 2);
    EXPECT_EQ(PolyphaseFilter({1000.0, 1000.0, 3.5F}).taps(), 4);
    EXPECT_EQ(PolyphaseFilter({1000.0, 1000.0, 3.51F}).taps(), 4);
}

// Each coefficient alone, by a single sample of 1 under each tap of each row.
TEST(PolyphaseFilter, TabulatesTheWindowedSinc) {
    const std::vector<PolyphaseDesign> designs = {{48000.0, 44100.0},
                                                  {44100.0, 48000.0},
                                                  {48000.0, 16000.0, 0.7F, 80.0F, 8},
                                                  {5000.0, 3000.0, 1.0F, 100.0F, 1}};
    for (const PolyphaseDesign& design : designs) {
        const PolyphaseFilter filter(design);
        const test::NaiveResampler formula{
            .inputRate = design.inputRate,
            .outputRate = design.outputRate,
            .lengthMs = static_cast<double>(design.lengthMs),
            .bandwidthPercent = static_cast<double>(design.bandwidthPercent)};
        std::vector<double> impulse(static_cast<std::size_t>(filter.taps()), 0.0);
        for (int phase = 0; phase < design.phases; ++phase) {
            for (int k = 0; k < filter.taps(); ++k) {
                impulse[static_cast<std::size_t>(k)] = 1.0;
                const int fromCentre = k - filter.taps() / 2;
                const double x = fromCentre - static_cast<double>(phase) / design.phases;
                EXPECT_NEAR(filter.tapAt(phase, impulse.data(), filter.taps()), formula.filterAt(x),
                            1e-15);
                impulse[static_cast<std::size_t>(k)] = 0.0;
            }
        }
    }
}

TEST(PolyphaseFilter, StartsEachRowAtTheWholePartOfThePosition) {
    const PolyphaseFilter filter({8000.0, 7000.0});
    std::vector<double> impulse(40, 0.0);
    impulse[20] = 1.0;
    const auto count = static_cast<std::int64_t>(impulse.size());
    const double value = filter.tapAt(10 * 64 + 17, impulse.data(), count);
    EXPECT_NE(value, 0.0);
    EXPECT_EQ(filter.tapAt(17, impulse.data() + 10, count - 10), value);
}

TEST(PolyphaseFilter, FindsSilenceBeyondTheSamplesThatItIsGiven) {
    const PolyphaseFilter filter({4000.0, 3000.0});
    ASSERT_EQ(filter.taps(), 6);
    // Of exactly their size, so that the address sanitizer sees a read behind the last one. With
    // one sample that is not zero, a sum is the same in whatever order it is taken.
    std::vector<double> given(10, 0.0);
    for (double& sample : given) {
        sample = 1.0;
        std::vector<double> padded = given;
        padded.resize(40, 0.0);
        for (std::int64_t index = 0; index < 20 * 64; ++index) {
            EXPECT_EQ(filter.tapAt(index, given.data(), 10),
                      filter.tapAt(index, padded.data(), 40));
        }
        sample = 0.0;
    }
}

TEST(PolyphaseFilter, IsAPureDelayInOneRowAtFullBandwidthOnly) {
    EXPECT_EQ(PolyphaseFilter({48000.0, 96000.0, 1.5F, 100.0F}).exactPhase(), 0);
    EXPECT_EQ(PolyphaseFilter({48000.0, 48000.0, 1.5F, 100.0F}).exactPhase(), 0);
    EXPECT_EQ(PolyphaseFilter({48000.0, 47999.0, 1.5F, 100.0F}).exactPhase(), -1);
    EXPECT_EQ(PolyphaseFilter({48000.0, 96000.0}).exactPhase(), -1);
    EXPECT_EQ(PolyphaseFilter().exactPhase(), -1);
}

TEST(PolyphaseFilter, ReadsThePureDelayFromItsCentreWithoutSumming) {
    const PolyphaseFilter filter({4000.0, 8000.0, 1.5F, 100.0F});
    ASSERT_EQ(filter.taps(), 6);
    // The neighbours would be lost beside the sum's rounding, or make it infinite.
    const std::vector<double> samples = {1e300, kInfinity, 1e300, 0.1, 1e300, kNan, 0.2};
    EXPECT_EQ(filter.tapAt(0, samples.data(), 7), 0.1);
    EXPECT_EQ(filter.tapAt(3 * 64, samples.data(), 7), 0.2);
    EXPECT_EQ(filter.tapAt(4 * 64, samples.data(), 7), 0.0);
}

TEST(PolyphaseFilter, IsSilentWithoutTaps) {
    const std::vector<double> samples(8, 1.0);
    for (const PolyphaseFilter& filter :
         {PolyphaseFilter(), PolyphaseFilter({0.0, 48000.0}), PolyphaseFilter({-8000.0, 8000.0}),
          PolyphaseFilter({8000.0, 16000.0, 0.0F}), PolyphaseFilter({8000.0, 16000.0, -2.0F})}) {
        EXPECT_LE(filter.taps(), 0);
        EXPECT_EQ(filter.tapAt(0, samples.data(), 8), 0.0);
        EXPECT_EQ(filter.tapAt(65, samples.data(), 8), 0.0);
    }
}

TEST(PolyphaseFilter, TakesAPureDelayWithoutTapsFromInsideTheSamplesOnly) {
    const PolyphaseFilter none({0.0, 48000.0, 1.5F, 100.0F});
    const PolyphaseFilter negative({-8000.0, -9000.0, 1.5F, 100.0F});
    ASSERT_EQ(negative.taps(), -12);
    ASSERT_EQ(negative.exactPhase(), 0);
    // Four of the samples, with others on both sides.
    const std::vector<double> around(24, 1.0);
    const double* samples = around.data() + 10;
    EXPECT_EQ(none.tapAt(3 * 64, samples, 4), 1.0);
    EXPECT_EQ(none.tapAt(4 * 64, samples, 4), 0.0);
    EXPECT_EQ(negative.tapAt(0, samples, 4), 0.0);
    EXPECT_EQ(negative.tapAt(5 * 64, samples, 4), 0.0);
    EXPECT_EQ(negative.tapAt(6 * 64, samples, 4), 1.0);
}

TEST(PolyphaseFilter, RefusesPhasesThatAreNoPowerOfTwo) {
    for (const std::int32_t phases :
         {0, -1, -64, 3, 48, 63, 65, std::numeric_limits<std::int32_t>::min(),
          std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_THROW(PolyphaseFilter({8000.0, 16000.0, 1.5F, 95.0F, phases}), std::runtime_error);
    }
    for (const std::int32_t phases : {1, 2, 4, 1024}) {
        EXPECT_EQ(PolyphaseFilter({8000.0, 16000.0, 1.5F, 95.0F, phases}).phases(), phases);
    }
}

TEST(PolyphaseFilter, RefusesLengthsThatNoBlockHolds) {
    for (const double rate : {kNan, kInfinity, -kInfinity, 1e300, 2e12, 3e9}) {
        EXPECT_THROW(PolyphaseFilter({rate, 48000.0}), std::runtime_error);
    }
    EXPECT_THROW(PolyphaseFilter({48000.0, 48000.0, std::numeric_limits<float>::quiet_NaN()}),
                 std::runtime_error);
    EXPECT_THROW(PolyphaseFilter({48000.0, 48000.0, 1e30F}), std::runtime_error);
    EXPECT_THROW(PolyphaseFilter({48000.0, 48000.0, 1e6F}), std::runtime_error);
}

}  // namespace
}  // namespace vorun
