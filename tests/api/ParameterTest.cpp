#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

#include "api/ApiProcessor.h"
#include "api/TestModels.h"

#if defined(__linux__)
#include <dlfcn.h>
#endif

namespace vorun::apitest {
namespace {

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t idsWithoutMeaning[] = {
    lowest, -513, -512, -257, -256, -255, -3, -2, -1, 0, 4, 5, 255, 768, 769, 1024, 65536, highest};

class Parameters : public testing::Test {
  protected:
    TemporaryModel file_{constantMasks(frameHeader(32, 32, 16), {0.5F})};
    ApiProcessor processor_{file_.path(), 1, 48000.0};

    void expectRange(std::int32_t id, float low, float high) const {
        float minValue = 123.0F;
        float maxValue = 456.0F;
        vorunGetParameterRange(processor_.handle(), id, &minValue, &maxValue);
        EXPECT_EQ(minValue, low) << id;
        EXPECT_EQ(maxValue, high) << id;
    }
    void expectDefaults() const {
        EXPECT_EQ(processor_.get(residualLevelId), 0.0F);
        EXPECT_EQ(processor_.get(sensitivityId), 0.0F);
        EXPECT_EQ(processor_.get(tailFillOffId), 0.0F);
        for (int bus = 0; bus < 16; ++bus) {
            EXPECT_EQ(processor_.get(gainOf(bus)), 1.0F) << bus;
            EXPECT_EQ(processor_.get(sensitivityOf(bus)), 0.0F) << bus;
        }
    }
    void expectNoRange(std::int32_t id) const { expectRange(id, 123.0F, 456.0F); }
};

/** Level in dB to a factor: divided in float, raised in double. */
float fromDecibels(float level) {
    return static_cast<float>(std::pow(10.0, static_cast<double>(level / 20.0F)));
}

float toDecibels(float factor) {
    return static_cast<float>(20.0 * std::log10(static_cast<double>(factor)));
}

TEST_F(Parameters, HaveTheirDefaultsAfterCreation) {
    expectDefaults();
}

TEST_F(Parameters, RangesArePublishedForTheKnownIds) {
    expectRange(residualLevelId, -96.0F, 0.0F);
    expectRange(sensitivityId, -100.0F, 100.0F);
    for (const int index : {0, 1, 15, 16, 44, 255}) {
        expectRange(gainOf(index), 0.0F, 100.0F);
        expectRange(sensitivityOf(index), -100.0F, 100.0F);
    }
}

TEST_F(Parameters, IdsWithoutARangeLeaveTheCallersVariables) {
    expectNoRange(tailFillOffId);
    for (const std::int32_t id : idsWithoutMeaning) {
        expectNoRange(id);
    }
}

TEST_F(Parameters, TheRangeDoesNotReadTheHandle) {
    float minValue = 123.0F;
    float maxValue = 456.0F;
    vorunGetParameterRange(nullptr, residualLevelId, &minValue, &maxValue);
    EXPECT_EQ(minValue, -96.0F);
    EXPECT_EQ(maxValue, 0.0F);
}

#if defined(__linux__)
TEST_F(Parameters, TheRangeIsExportedAsAMemberOfTheHandlesClassToo) {
    using RangeMember = void (*)(ProcessorHandle, std::int32_t, float*, float*);
    void* symbol = dlsym(RTLD_DEFAULT, "_ZN5vorun14ProcessorState17getParameterRangeEiPfS1_");
    if (symbol == nullptr) {
        symbol = dlsym(RTLD_DEFAULT, "_ZNK5vorun14ProcessorState17getParameterRangeEiPfS1_");
    }
    ASSERT_NE(symbol, nullptr);
    const auto member = reinterpret_cast<RangeMember>(symbol);
    for (const std::int32_t id : {1, 2, 3, 0, 256, 300, 512, 767, 768, -1}) {
        float plain[2] = {123.0F, 456.0F};
        float decorated[2] = {123.0F, 456.0F};
        vorunGetParameterRange(processor_.handle(), id, &plain[0], &plain[1]);
        member(processor_.handle(), id, &decorated[0], &decorated[1]);
        EXPECT_EQ(plain[0], decorated[0]) << id;
        EXPECT_EQ(plain[1], decorated[1]) << id;
    }
}
#endif

TEST_F(Parameters, IdsWithoutMeaningReadZeroAndIgnoreWrites) {
    for (const std::int32_t id : idsWithoutMeaning) {
        processor_.set(id, 0.5F);
        EXPECT_EQ(processor_.get(id), 0.0F) << id;
    }
    expectDefaults();
}

TEST_F(Parameters, IndicesFrom16To255ReadZeroAndIgnoreWrites) {
    for (const int index : {16, 17, 44, 100, 255}) {
        processor_.set(gainOf(index), 0.5F);
        processor_.set(sensitivityOf(index), 50.0F);
        EXPECT_EQ(processor_.get(gainOf(index)), 0.0F) << index;
        EXPECT_EQ(processor_.get(sensitivityOf(index)), 0.0F) << index;
    }
    expectDefaults();
}

TEST_F(Parameters, EveryCellOfBothFamiliesIsItsOwn) {
    for (int bus = 0; bus < 16; ++bus) {
        processor_.set(gainOf(bus), 2.0F + static_cast<float>(bus));
        processor_.set(sensitivityOf(bus), -2.0F - static_cast<float>(bus));
    }
    for (int bus = 0; bus < 16; ++bus) {
        EXPECT_EQ(processor_.get(gainOf(bus)), 2.0F + static_cast<float>(bus));
        EXPECT_EQ(processor_.get(sensitivityOf(bus)), -2.0F - static_cast<float>(bus));
    }
}

TEST_F(Parameters, GainsAreLimitedToZeroAndUpOnly) {
    processor_.set(gainOf(3), -1.0F);
    EXPECT_EQ(processor_.get(gainOf(3)), 0.0F);
    for (const float gain : {0.0F, 4.0F, 100.0F, 250.0F, 1e30F, 1e-40F}) {
        processor_.set(gainOf(3), gain);
        EXPECT_EQ(processor_.get(gainOf(3)), gain);
    }
    processor_.set(gainOf(3), -std::numeric_limits<float>::infinity());
    EXPECT_EQ(processor_.get(gainOf(3)), 0.0F);
}

TEST_F(Parameters, SensitivitiesAreLimitedOnBothSides) {
    processor_.set(sensitivityOf(2), 250.0F);
    EXPECT_EQ(processor_.get(sensitivityOf(2)), 100.0F);
    processor_.set(sensitivityOf(2), -250.0F);
    EXPECT_EQ(processor_.get(sensitivityOf(2)), -100.0F);
    processor_.set(sensitivityOf(2), 99.999F);
    EXPECT_EQ(processor_.get(sensitivityOf(2)), 99.999F);
}

TEST_F(Parameters, IdTwoAndTheFirstSensitivityAreOneCell) {
    processor_.set(sensitivityId, 33.0F);
    EXPECT_EQ(processor_.get(sensitivityOf(0)), 33.0F);
    processor_.set(sensitivityOf(0), -12.0F);
    EXPECT_EQ(processor_.get(sensitivityId), -12.0F);
    processor_.set(sensitivityId, 1000.0F);
    EXPECT_EQ(processor_.get(sensitivityId), 100.0F);
    processor_.set(sensitivityId, -1000.0F);
    EXPECT_EQ(processor_.get(sensitivityId), -100.0F);
}

TEST_F(Parameters, TheResidualLevelWritesUnityAndAFactor) {
    processor_.set(gainOf(0), 0.5F);
    processor_.set(residualLevelId, -6.0F);
    EXPECT_EQ(processor_.get(gainOf(0)), 1.0F);
    EXPECT_NEAR(static_cast<double>(processor_.get(gainOf(1))), 0.501187, 1e-6);
    EXPECT_NEAR(static_cast<double>(processor_.get(residualLevelId)), -6.0, 1e-6);
}

TEST_F(Parameters, TheResidualLevelIsDividedInFloatAndRaisedInDouble) {
    for (float level = -95.75F; level < 0.0F; level += 0.3F) {
        processor_.set(residualLevelId, level);
        EXPECT_EQ(processor_.get(gainOf(1)), fromDecibels(level)) << level;
        EXPECT_EQ(processor_.get(residualLevelId), toDecibels(fromDecibels(level))) << level;
    }
}

TEST_F(Parameters, ALevelAboveZeroStoresUnity) {
    for (const float level : {0.0F, 6.0F, 96.0F, 1e30F}) {
        processor_.set(residualLevelId, level);
        EXPECT_EQ(processor_.get(gainOf(1)), 1.0F);
        EXPECT_EQ(processor_.get(residualLevelId), 0.0F);
    }
}

TEST_F(Parameters, ALevelBelowTheRangeIsStoredButReadsAsItsEnd) {
    processor_.set(residualLevelId, -200.0F);
    EXPECT_EQ(processor_.get(gainOf(1)), 1e-10F);
    EXPECT_EQ(processor_.get(residualLevelId), -96.0F);
    processor_.set(residualLevelId, -std::numeric_limits<float>::infinity());
    EXPECT_EQ(processor_.get(gainOf(1)), 0.0F);
    EXPECT_EQ(processor_.get(residualLevelId), -96.0F);
}

TEST_F(Parameters, TheLowestLevelPutsTheMainBusBackToUnity) {
    processor_.set(gainOf(0), 0.5F);
    processor_.set(residualLevelId, -96.0F);
    EXPECT_EQ(processor_.get(gainOf(0)), 1.0F);
    EXPECT_EQ(processor_.get(residualLevelId), -96.0F);
}

TEST_F(Parameters, TheLevelOfAGainOutsideItsRangeReadsAsTheRangesEnd) {
    processor_.set(gainOf(1), 0.0F);
    EXPECT_EQ(processor_.get(residualLevelId), -96.0F);
    processor_.set(gainOf(1), 2.0F);
    EXPECT_EQ(processor_.get(residualLevelId), 0.0F);
    EXPECT_EQ(processor_.get(gainOf(1)), 2.0F);
    processor_.set(gainOf(1), 1e-6F);
    EXPECT_EQ(processor_.get(residualLevelId), -96.0F);
}

TEST_F(Parameters, AnyLevelReadsWithinItsRange) {
    for (float gain = 1e-7F; gain < 10.0F; gain *= 1.07F) {
        processor_.set(gainOf(1), gain);
        const float level = processor_.get(residualLevelId);
        EXPECT_GE(level, -96.0F);
        EXPECT_LE(level, 0.0F);
    }
}

TEST_F(Parameters, NotANumberDoesNotStickOnceWrittenOver) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (const std::int32_t id : {1, 2, 3, 256, 257, 512, 513}) {
        processor_.set(id, nan);
    }
    for (const std::int32_t id : {256, 257}) {
        processor_.set(id, 0.5F);
        EXPECT_EQ(processor_.get(id), 0.5F);
    }
    for (const std::int32_t id : {512, 513}) {
        processor_.set(id, 5.0F);
        EXPECT_EQ(processor_.get(id), 5.0F);
    }
}

TEST_F(Parameters, BelongToTheirProcessorAlone) {
    ApiProcessor other(file_.path(), 1, 48000.0);
    other.set(gainOf(0), 7.0F);
    other.set(sensitivityId, 7.0F);
    expectDefaults();
}

}  // namespace
}  // namespace vorun::apitest
