#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "restoration/support/SmallModels.h"
#include "restoration/support/Spectra.h"
#include "support/ScratchFolder.h"

namespace vorun {
namespace {

using test::smallHeader;

class OutputBuses : public ::testing::Test {
  protected:
    std::string modelNamed(const std::vector<std::string>& names) {
        writer::ModelHeader header = smallHeader(1, 1, static_cast<std::int32_t>(names.size()) - 1);
        header.busNames = names;
        return folder.save(writer::ModelWriter(header));
    }

    test::ScratchFolder folder;
    VorunProcessor processor;
};

TEST_F(OutputBuses, CountWithAndWithoutTheResidual) {
    ASSERT_TRUE(processor.loadModels({modelNamed({"Processed", "Residual"})}));
    EXPECT_EQ(processor.getOutputBusCount(false), 1);
    EXPECT_EQ(processor.getOutputBusCount(true), 2);
}

TEST_F(OutputBuses, NoneBeforeALoad) {
    EXPECT_EQ(processor.getOutputBusCount(false), 0);
    EXPECT_EQ(processor.getOutputBusCount(true), 0);
    for (const std::int32_t index : {0, 1, -1, 7}) {
        EXPECT_EQ(processor.getOutputBusName(index), "");
    }
}

TEST_F(OutputBuses, NamesWalkACircleWithOneEmptyPlace) {
    ASSERT_TRUE(processor.loadModels({modelNamed({"A", "B"})}));
    EXPECT_EQ(processor.getOutputBusName(0), "A");
    EXPECT_EQ(processor.getOutputBusName(1), "B");
    EXPECT_EQ(processor.getOutputBusName(2), "");
    EXPECT_EQ(processor.getOutputBusName(3), "A");
    EXPECT_EQ(processor.getOutputBusName(-1), "");
    EXPECT_EQ(processor.getOutputBusName(-2), "B");
    EXPECT_EQ(processor.getOutputBusName(-3), "A");
    EXPECT_EQ(processor.getOutputBusName(-4), "");
}

TEST_F(OutputBuses, WalkOfAnyLengthEndsWhereSingleStepsEnd) {
    const std::vector<std::string> names = {"Voice", "Drums", "Bass", "Residual"};
    ASSERT_TRUE(processor.loadModels({modelNamed(names)}));
    std::size_t place = 0;  // One past the names is the empty place.
    for (std::int32_t index = 0; index < 50; ++index) {
        EXPECT_EQ(processor.getOutputBusName(index), place < 4 ? names[place] : "") << index;
        place = place == 4 ? 0 : place + 1;
    }
    place = 0;
    for (std::int32_t index = 0; index > -50; --index) {
        EXPECT_EQ(processor.getOutputBusName(index), place < 4 ? names[place] : "") << index;
        place = place == 0 ? 4 : place - 1;
    }
}

TEST_F(OutputBuses, HugeIndicesWrap) {
    ASSERT_TRUE(processor.loadModels({modelNamed({"A", "B"})}));
    // 2^31 - 1 = 3 * 715827882 + 1, and -2^31 = -3 * 715827883 + 1.
    EXPECT_EQ(processor.getOutputBusName(std::numeric_limits<std::int32_t>::max()), "B");
    EXPECT_EQ(processor.getOutputBusName(std::numeric_limits<std::int32_t>::min()), "B");
}

TEST_F(OutputBuses, NamesAreGivenAsTheyStandEvenEmptyOrTwice) {
    ASSERT_TRUE(processor.loadModels({modelNamed({"", "Same", "Same"})}));
    EXPECT_EQ(processor.getOutputBusCount(true), 3);
    EXPECT_EQ(processor.getOutputBusName(0), "");
    EXPECT_EQ(processor.getOutputBusName(1), "Same");
    EXPECT_EQ(processor.getOutputBusName(2), "Same");
    EXPECT_EQ(processor.getOutputBusName(3), "");
    EXPECT_EQ(processor.getOutputBusName(4), "");
}

TEST_F(OutputBuses, OldFilesHaveProcessedAndResidual) {
    writer::ModelHeader header = smallHeader();
    header.version = 4101;
    ASSERT_TRUE(processor.loadModels({folder.save(writer::ModelWriter(header))}));
    EXPECT_EQ(processor.getOutputBusCount(false), 1);
    EXPECT_EQ(processor.getOutputBusName(0), "Processed");
    EXPECT_EQ(processor.getOutputBusName(1), "Residual");
    EXPECT_EQ(processor.getOutputBusName(2), "");
}

TEST_F(OutputBuses, NamesOfSeveralModelsFollowOneAnother) {
    ASSERT_TRUE(processor.loadModels({modelNamed({"A", "Rest of A"}), modelNamed({"B", "Rest"})}));
    EXPECT_EQ(processor.getOutputBusCount(false), 3);
    EXPECT_EQ(processor.getOutputBusCount(true), 4);
    EXPECT_EQ(processor.getOutputBusName(0), "A");
    EXPECT_EQ(processor.getOutputBusName(1), "Rest of A");
    EXPECT_EQ(processor.getOutputBusName(2), "B");
    EXPECT_EQ(processor.getOutputBusName(3), "Rest");
    EXPECT_EQ(processor.getOutputBusName(4), "");
}

TEST_F(OutputBuses, SeveralModelsGiveNoFramesAndKeepTheInput) {
    ASSERT_TRUE(test::makeReady(processor, {modelNamed({"A", "Rest"}), modelNamed({"B", "Rest"})}));
    std::vector<ComplexSignal32> frames;
    for (std::uint32_t i = 0; i < 20; ++i) {
        frames.push_back(test::randomSpectrum(1, test::smallBins, i));
        EXPECT_TRUE(processor.processSpectrum(frames.back()).empty());
    }
    for (const ComplexSignal32& frame : frames) {
        EXPECT_EQ(test::settledUseCount(frame, 2), 2);
    }
    processor.reset();
    for (const ComplexSignal32& frame : frames) {
        EXPECT_EQ(test::settledUseCount(frame, 1), 1);
    }
    EXPECT_EQ(processor.getOutputBusCount(false), 3);
}

TEST_F(OutputBuses, NamesSurviveResetAndPrepare) {
    ASSERT_TRUE(test::makeReady(processor, {modelNamed({"A", "B", "C"})}));
    processor.reset();
    ASSERT_TRUE(processor.prepare(test::layoutOf(2, 96000.0), test::layoutOf(2, 96000.0)));
    EXPECT_EQ(processor.getOutputBusCount(true), 3);
    EXPECT_EQ(processor.getOutputBusName(2), "C");
}

TEST_F(OutputBuses, MoreBusesThanValuesAreRefused) {
    // 16 names are 15 queues and the residual, which is value 15.
    EXPECT_TRUE(test::makeReady(processor, {modelNamed(std::vector<std::string>(16, "x"))}));
    VorunProcessor tooMany;
    EXPECT_FALSE(test::makeReady(tooMany, {modelNamed(std::vector<std::string>(17, "x"))}));
}

TEST_F(OutputBuses, SeveralModelsNeedNoValueForEachBus) {
    // Their frames never reach the mix, so they load and run whatever they name.
    const std::string many = folder.save(test::scaledCopies(std::vector<float>(11, 0.1f)));
    ASSERT_TRUE(test::makeReady(processor, {many, many, many}));
    EXPECT_EQ(processor.getOutputBusCount(true), 36);
    EXPECT_EQ(processor.getOutputBusName(36), "");
    EXPECT_EQ(processor.process(test::randomSamples(1, 100, 1)).length(), 0);
}

TEST_F(OutputBuses, ModelWithoutMasksIsRefused) {
    for (const int maskCount : {0, -1, -128}) {
        writer::ModelHeader header = smallHeader(1, 1, 0);
        header.maskCount = static_cast<std::int8_t>(maskCount);
        header.busNames.resize(maskCount == 0 ? 1 : 0);
        VorunProcessor fresh;
        EXPECT_FALSE(test::makeReady(fresh, {folder.save(writer::ModelWriter(header))}))
            << maskCount;
        VorunProcessor second;
        EXPECT_FALSE(test::makeReady(
            second, {modelNamed({"A", "B"}), folder.save(writer::ModelWriter(header))}))
            << maskCount;
    }
}

TEST_F(OutputBuses, AFrameForAModelWithoutMasksIsRefused) {
    writer::ModelHeader header = smallHeader(1, 1, 0);
    header.maskCount = 0;
    ASSERT_TRUE(
        processor.loadModels({folder.save(test::convModel(header, test::channelMix({{1.0f}})))}));
    EXPECT_EQ(processor.getOutputBusCount(false), 0);
    const ComplexSignal32 frame = test::randomSpectrum(1, test::smallBins, 1);
    EXPECT_THROW(processor.processSpectrum(frame), std::runtime_error);
}

}  // namespace
}  // namespace vorun
