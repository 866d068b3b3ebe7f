#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "api/BoundedFileTest.h"
#include "api/LayerFiles.h"

namespace vorun::apitest {
namespace {

/** Damage behind the header: headers are damaged elsewhere, with every kind of network. */
class DamagedLayer : public BoundedFileTest, public testing::WithParamInterface<LayerFile> {};

TEST_P(DamagedLayer, LoadsWhileItIsWhole) {
    const Exercise exercise = expectBounded(GetParam().bytes);
    EXPECT_TRUE(exercise.modelLoaded);
    EXPECT_TRUE(exercise.processorCreated);
}

TEST_P(DamagedLayer, WithAnyByteChangedIsRefusedOrRunsInBounds) {
    std::size_t refused = 0;
    for (std::size_t i = layersBegin(smallHeader()); i < GetParam().bytes.size(); ++i) {
        for (const int value : {0, 1, 127, 128, 255}) {
            SCOPED_TRACE(testing::Message() << "byte " << i << " is " << value);
            std::vector<std::uint8_t> bytes = GetParam().bytes;
            bytes[i] = static_cast<std::uint8_t>(value);
            refused += expectBounded(bytes).modelLoaded ? 0 : 1;
        }
    }
    EXPECT_GT(refused, 0U);
}

TEST_P(DamagedLayer, WithSeveralBytesChangedIsRefusedOrRunsInBounds) {
    const std::size_t first = layersBegin(smallHeader());
    for (std::uint32_t seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 engine(seed);
        std::vector<std::uint8_t> bytes = GetParam().bytes;
        for (int i = 0; i < 3; ++i) {
            bytes[first + engine() % (bytes.size() - first)] = static_cast<std::uint8_t>(engine());
        }
        expectBounded(bytes);
    }
}

TEST_P(DamagedLayer, CutAtAnyLengthIsRefused) {
    for (std::size_t i = layersBegin(smallHeader()); i < GetParam().bytes.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "cut at " << i);
        const auto begin = GetParam().bytes.begin();
        const Exercise exercise = expectBounded({begin, begin + static_cast<std::ptrdiff_t>(i)});
        EXPECT_FALSE(exercise.modelLoaded);
        EXPECT_FALSE(exercise.processorCreated);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, DamagedLayer, testing::ValuesIn(layerFiles()),
                         [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace vorun::apitest
