#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "api/AllocationMeter.h"
#include "api/BoundedFileTest.h"
#include "api/ExerciseFile.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

struct ValidFile {
    const char* name;
    std::vector<std::uint8_t> bytes;
};

writer::TensorBlock halves(writer::TensorBlock block) {
    block.elementType = writer::ElementType::half;
    return block;
}

std::vector<std::uint8_t> halfPrecisionStereo() {
    writer::ModelHeader header = complexHeader(frameHeader(16, 16, 8, 2, 1, 2), 3);
    header.outputFormat = 2;
    header.pipelineMode = 1;
    writer::ConvRecord record = randomStage({2, 3, 2, 2}, 3, 1, 1);
    record.weights = halves(record.weights);
    record.bias = halves(record.bias);
    return TestModel{header, {record}}.bytes();
}

std::vector<std::uint8_t> oldForm() {
    writer::ModelHeader header = frameHeader(16, 16, 4);
    header.tag = "ZUTo.model";
    header.version = 4101;
    writer::ModelWriter file(header);
    file.addLeakyRelu("l", "input", 0.5F)
        .addActivation("e", "l", writer::LayerType::elu)
        .addActivation("p", "input", writer::LayerType::softplus)
        .addActivation("h", "e", writer::LayerType::hardSigmoid)
        .setOutputSource("h");
    return file.bytes();
}

std::vector<std::uint8_t> stridedDepthwise() {
    writer::ConvRecord record = randomStage({2, 2, 1, 2}, 5, 2);
    record.timeStride = 2;
    return TestModel{frameHeader(16, 12, 6, 2, 1, 2), {record, writer::LayerType::sigmoid}}.bytes();
}

std::vector<ValidFile> validFiles() {
    return {
        {"PassThrough", TestModel{frameHeader(16, 16, 8), {}}.bytes()},
        {"HistoryAndLookahead",
         TestModel{frameHeader(16, 16, 8),
                   {randomStage({3, 3, 1, 1}, 2, 2, 1), writer::LayerType::sigmoid}}
             .bytes()},
        {"HalfPrecisionStereo", halfPrecisionStereo()},
        {"OldForm", oldForm()},
        {"StridedDepthwise", stridedDepthwise()},
    };
}

class DamagedFile : public BoundedFileTest, public testing::WithParamInterface<ValidFile> {};

TEST_P(DamagedFile, LoadsWhileItIsWhole) {
    const Exercise exercise = expectBounded(GetParam().bytes);
    EXPECT_TRUE(exercise.modelLoaded);
    EXPECT_TRUE(exercise.processorCreated);
}

TEST_P(DamagedFile, WithAnyByteChangedIsRefusedOrRunsInBounds) {
    for (std::size_t position = 0; position < GetParam().bytes.size(); ++position) {
        for (const int value : {0, 1, 127, 128, 255}) {
            SCOPED_TRACE(testing::Message() << "byte " << position << " is " << value);
            std::vector<std::uint8_t> bytes = GetParam().bytes;
            bytes[position] = static_cast<std::uint8_t>(value);
            expectBounded(bytes);
        }
    }
}

TEST_P(DamagedFile, CutAtAnyLengthIsRefused) {
    for (std::size_t length = 0; length < GetParam().bytes.size(); ++length) {
        SCOPED_TRACE(testing::Message() << "cut at " << length);
        const auto begin = GetParam().bytes.begin();
        const Exercise exercise =
            expectBounded({begin, begin + static_cast<std::ptrdiff_t>(length)});
        EXPECT_FALSE(exercise.modelLoaded);
        EXPECT_FALSE(exercise.processorCreated);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, DamagedFile, testing::ValuesIn(validFiles()),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(AllocationMeter, SeesTheEnginesMemory) {
    if (!meter::isAvailable()) {
        GTEST_SKIP() << "nothing counts the heap here";
    }
    // A hundred thousand weights are 400 kB, which no bound on a small file allows.
    const TemporaryModel file(
        TestModel{frameHeader(16, 16, 8), {randomStage({1, 1, 1, 100000}, 2)}});
    const Exercise exercise = exerciseFile(file);
    ASSERT_TRUE(exercise.modelLoaded);
    EXPECT_GT(exercise.loadBytes, 400000U);
    EXPECT_GT(exercise.loadBytes, loadBound(100));
}

}  // namespace
}  // namespace vorun::apitest
