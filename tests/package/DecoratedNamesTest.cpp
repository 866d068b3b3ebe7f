#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "RecordLayout.h"
#include "support/ModelWriter.h"

namespace vorun {

/** The one member that the library exports, declared as a caller of the decorated name sees it. */
class ProcessorState {
  public:
    void getParameterRange(std::int32_t id, float* minValue, float* maxValue);
};

}  // namespace vorun

namespace {

using namespace vorun::writer;

constexpr float untouched = std::numeric_limits<float>::max();

struct Range {
    float lowest = untouched;
    float highest = untouched;

    bool operator==(const Range&) const = default;
};

TEST(DecoratedNames, MemberPublishesTheSameRangesAsThePlainFunction) {
    // Neither form reads the object.
    alignas(16) char storage[16] = {};
    auto* processor = reinterpret_cast<ProcessorHandle>(storage);
    for (std::int32_t id = -2; id < 1100; ++id) {
        Range plain;
        Range member;
        vorunGetParameterRange(processor, id, &plain.lowest, &plain.highest);
        processor->getParameterRange(id, &member.lowest, &member.highest);
        EXPECT_EQ(plain, member) << "id " << id;
    }
    Range first;
    processor->getParameterRange(1, &first.lowest, &first.highest);
    EXPECT_EQ(first, (Range{-96.0f, 0.0f}));
    Range none;
    processor->getParameterRange(3, &none.lowest, &none.highest);
    EXPECT_EQ(none, Range{});
}

TEST(DecoratedNames, OverloadDescribesAModelOfTheTensorFamily) {
    ModelHeader header;
    header.sampleRate = 44100.0;
    header.inputChannels = 2;
    header.outputChannels = 2;
    header.fftSize = 512;
    header.windowSize = 400;
    header.hopSize = 200;
    ConvRecord record;
    record.weights = {{1, 1, 2, 2}, {1.0f, 0.0f, 0.0f, 1.0f}, ElementType::single, {}};
    record.lookahead = 3;
    const std::string path = testing::TempDir() + "decorated_names.model";
    ModelWriter(header).addConv("conv", "input", record).setOutputSource("conv").writeFile(path);

    ModelHandle* model = vorunCreateModel(path.c_str());
    ASSERT_NE(model, nullptr);
    VorunModelInfo info = {-1.0, -1, -1, -1, -1, -1};
    vorunGetProcessorInfo(static_cast<void*>(model), &info);
    vorunDeleteModel(model);
    EXPECT_EQ(info.sampleRate, 44100.0);
    EXPECT_EQ(info.inputChannels, 2);
    EXPECT_EQ(info.fftSize, 512);
    EXPECT_EQ(info.windowSize, 400);
    EXPECT_EQ(info.hopSize, 200);
    EXPECT_EQ(info.latency, 3);
}

}  // namespace
