#include <atomic>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

#include "restoration/BusValues.h"
#include "restoration/VorunProcessor.h"

namespace vorun {
namespace {

constexpr std::int32_t outsideIndices[] = {-1,
                                           16,
                                           17,
                                           256,
                                           std::numeric_limits<std::int32_t>::min(),
                                           std::numeric_limits<std::int32_t>::max()};

TEST(BusValues, EveryCellStartsAtTheInitialValue) {
    const BusValues values(0.75f);
    for (std::int32_t i = 0; i < BusValues::count; ++i) {
        EXPECT_EQ(values.get(i), 0.75f);
    }
}

TEST(BusValues, HoldsSixteenValuesApart) {
    BusValues values(0.0f);
    ASSERT_EQ(BusValues::count, 16);
    for (std::int32_t i = 0; i < 16; ++i) {
        values.set(i, static_cast<float>(i) + 0.5f);
    }
    for (std::int32_t i = 0; i < 16; ++i) {
        EXPECT_EQ(values.get(i), static_cast<float>(i) + 0.5f);
    }
}

TEST(BusValues, IndicesOutsideAreIgnoredAndReadAsZero) {
    BusValues values(1.0f);
    for (const std::int32_t index : outsideIndices) {
        values.set(index, 5.0f);
        EXPECT_EQ(values.get(index), 0.0f) << index;
    }
    for (std::int32_t i = 0; i < BusValues::count; ++i) {
        EXPECT_EQ(values.get(i), 1.0f) << i;
    }
}

TEST(BusParameters, DefaultsAreUnityGainAndNoShaping) {
    const VorunProcessor processor;
    for (std::int32_t i = 0; i < 16; ++i) {
        EXPECT_EQ(processor.getBusGain(i), 1.0f);
        EXPECT_EQ(processor.getBusSensitivity(i), 0.0f);
    }
    EXPECT_TRUE(processor.isTailFillOn());
}

TEST(BusParameters, GainsAreLimitedFromBelowOnly) {
    VorunProcessor processor;
    processor.setBusGain(0, -1.0f);
    processor.setBusGain(1, 4.0f);
    processor.setBusGain(2, 250.0f);
    processor.setBusGain(3, 0.0f);
    processor.setBusGain(15, 0.25f);
    EXPECT_EQ(processor.getBusGain(0), 0.0f);
    EXPECT_EQ(processor.getBusGain(1), 4.0f);
    EXPECT_EQ(processor.getBusGain(2), 250.0f);
    EXPECT_EQ(processor.getBusGain(3), 0.0f);
    EXPECT_EQ(processor.getBusGain(15), 0.25f);
}

TEST(BusParameters, SensitivitiesAreLimitedOnBothSides) {
    VorunProcessor processor;
    processor.setBusSensitivity(0, 250.0f);
    processor.setBusSensitivity(1, -250.0f);
    processor.setBusSensitivity(2, 37.5f);
    processor.setBusSensitivity(3, 100.0f);
    processor.setBusSensitivity(4, -100.0f);
    processor.setBusSensitivity(15, std::numeric_limits<float>::infinity());
    EXPECT_EQ(processor.getBusSensitivity(0), 100.0f);
    EXPECT_EQ(processor.getBusSensitivity(1), -100.0f);
    EXPECT_EQ(processor.getBusSensitivity(2), 37.5f);
    EXPECT_EQ(processor.getBusSensitivity(3), 100.0f);
    EXPECT_EQ(processor.getBusSensitivity(4), -100.0f);
    EXPECT_EQ(processor.getBusSensitivity(15), 100.0f);
}

TEST(BusParameters, NotANumberBecomesTheLowerLimit) {
    VorunProcessor processor;
    processor.setBusGain(2, std::numeric_limits<float>::quiet_NaN());
    processor.setBusSensitivity(2, std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(processor.getBusGain(2), 0.0f);
    EXPECT_EQ(processor.getBusSensitivity(2), -100.0f);
}

TEST(BusParameters, IndicesOutsideAreIgnoredAndReadAsZero) {
    VorunProcessor processor;
    for (const std::int32_t index : outsideIndices) {
        processor.setBusGain(index, 3.0f);
        processor.setBusSensitivity(index, 3.0f);
        EXPECT_EQ(processor.getBusGain(index), 0.0f) << index;
        EXPECT_EQ(processor.getBusSensitivity(index), 0.0f) << index;
    }
    for (std::int32_t i = 0; i < 16; ++i) {
        EXPECT_EQ(processor.getBusGain(i), 1.0f) << i;
        EXPECT_EQ(processor.getBusSensitivity(i), 0.0f) << i;
    }
}

TEST(BusParameters, TwoThreadsSeeOnlyValuesThatWereStored) {
    VorunProcessor processor;
    std::atomic<bool> running{true};
    std::thread setter([&] {
        for (int i = 0; i < 20000; ++i) {
            processor.setBusGain(3, (i % 2 == 0) ? 0.25f : 2.0f);
        }
        running = false;
    });
    bool allKnown = true;
    while (running) {
        const float seen = processor.getBusGain(3);
        allKnown = allKnown && (seen == 1.0f || seen == 0.25f || seen == 2.0f);
    }
    setter.join();
    EXPECT_TRUE(allKnown);
    EXPECT_EQ(processor.getBusGain(3), 2.0f);
}

}  // namespace
}  // namespace vorun
