#include <chrono>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "api/ApiModel.h"
#include "api/BoundedFileTest.h"
#include "api/LayerFiles.h"
#include "api/TestModels.h"

/* Graphs that a small file makes large: long chains, forks in a row, strides in a row. */
namespace vorun::apitest {
namespace {

using writer::LayerType;
using writer::ModelWriter;

class ManyLayers : public BoundedFileTest {
  protected:
    ManyLayers() : file_(smallHeader()) {}

    std::string next() { return std::to_string(count_++); }
    Exercise exerciseFrom(const std::string& last) {
        bytes_ = file_.setOutputSource(last).bytes();
        return expectBounded(bytes_);
    }
    /** The results of one-frame calls with 9 bins of 1. */
    std::vector<TensorValues> results(int calls) const {
        const TemporaryFile file(bytes_);
        ApiModel graph(file.path());
        std::vector<TensorValues> all;
        for (int i = 0; i < calls; ++i) {
            all.push_back(graph.run({{1, 9, 1}, std::vector<float>(9, 1.0f)}));
        }
        return all;
    }
    ModelWriter file_;

  private:
    int count_ = 0;
    std::vector<std::uint8_t> bytes_;
};

/** Time that a test may take under sanitizers too; walks over all paths would take years. */
void expectSecondsBelow(double limit, const std::function<void()>& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    const std::chrono::duration<double> spent = std::chrono::steady_clock::now() - start;
    EXPECT_LT(spent.count(), limit);
}

TEST_F(ManyLayers, ResidualBlocksInARowLoadAndRunAtOnce) {
    std::string last = "input";
    for (int block = 0; block < 24; ++block) {
        const std::string branch = next();
        const std::string sum = next();
        file_.addConv(branch, last, copyStage(1, 1, 0.5f)).addArithmetic(sum, {last, branch}, 2);
        last = sum;
    }
    expectSecondsBelow(5.0, [&] {
        EXPECT_TRUE(exerciseFrom(last).modelLoaded);
        const TensorValues result = results(1).front();
        ASSERT_EQ(result.values.size(), 9U);
        // 1.5 to the power of 24, each step of which fits a float up to its last bits.
        EXPECT_NEAR(static_cast<double>(result.values[4]), 16834.11219, 0.05);
    });
}

TEST_F(ManyLayers, ResidualBlocksBetweenAnEncoderAndADecoderRunAtOnce) {
    writer::ConvRecord encoder = copyStage(1, 1);
    encoder.timeStride = 2;
    file_.addConv("e", "input", encoder);
    std::string last = "e";
    for (int block = 0; block < 18; ++block) {
        const std::string branch = next();
        const std::string sum = next();
        file_.addActivation(branch, last, LayerType::relu).addArithmetic(sum, {last, branch}, 0);
        last = sum;
    }
    file_.addTransposedConv("d", last, decoderRecord(2, 1, 1, 1, 2, 1));
    expectSecondsBelow(20.0, [&] {
        EXPECT_TRUE(exerciseFrom("d").modelLoaded);
        for (const TensorValues& result : results(2)) {
            EXPECT_EQ(result.shape, (Shape{1, 9, 1}));
        }
    });
}

TEST_F(ManyLayers, SixtyForksThatAStrideTicksAreRefusedAtOnce) {
    writer::ConvRecord encoder = copyStage(1, 1);
    encoder.timeStride = 2;
    file_.addConv("e", "input", encoder);
    std::string last = "e";
    for (int block = 0; block < 60; ++block) {
        const std::string branch = next();
        const std::string sum = next();
        file_.addActivation(branch, last, LayerType::relu).addArithmetic(sum, {last, branch}, 2);
        last = sum;
    }
    file_.addTransposedConv("d", last, decoderRecord(2, 1, 1, 1, 2, 1));
    expectSecondsBelow(5.0, [&] { EXPECT_FALSE(exerciseFrom("d").modelLoaded); });
}

TEST_F(ManyLayers, ConcatenationsThatDoubleTheChannelsRaiseBeforeTheyTakeMemory) {
    std::string last = "input";
    for (int block = 0; block < 28; ++block) {
        const std::string branch = next();
        const std::string joined = next();
        file_.addActivation(branch, last, LayerType::relu).addConcat(joined, {last, branch});
        last = joined;
    }
    const TemporaryFile model(file_.setOutputSource(last).bytes());
    ApiModel graph(model.path());
    ASSERT_TRUE(graph.created());
    // Channels double up to a few thousand, in as many bins as are fed in.
    expectPeakWithin(std::size_t{16} << 20U, [&] {
        EXPECT_THROW(graph.run({{1, 9, 1}, std::vector<float>(9, 1.0f)}), std::runtime_error);
    });
}

TEST_F(ManyLayers, AThousandInARowLoadAndRun) {
    std::string last = "input";
    const writer::TensorBlock one{{1}, {1.0f}};
    const writer::TensorBlock zero{{1}, {0.0f}};
    for (int i = 0; i < 1000; ++i) {
        const std::string name = next();
        switch (i % 4) {
            case 0:
                file_.addTwoTensors(name, last, LayerType::norm, zero, one);
                break;
            case 1:
                file_.addArithmetic(name, {last}, 2);
                break;
            case 2:
                file_.addConcat(name, {last});
                break;
            default:
                file_.addTwoTensors(name, last, LayerType::separableChannelConv, one, one);
        }
        last = name;
    }
    EXPECT_TRUE(exerciseFrom(last).modelLoaded);
    for (const TensorValues& result : results(3)) {
        EXPECT_EQ(result.values, std::vector<float>(9, 1.0f));
    }
}

TEST_F(ManyLayers, TransposedStridesInARowAreRefused) {
    for (const bool inTime : {true, false}) {
        ModelWriter file(smallHeader());
        std::string last = "input";
        for (int i = 0; i < 5; ++i) {
            const std::string name = next();
            file.addTransposedConv(name, last,
                                   decoderRecord(1, 1, 1, 1, inTime ? 127 : 1, inTime ? 1 : 127));
            last = name;
        }
        EXPECT_FALSE(expectBounded(file.setOutputSource(last).bytes()).modelLoaded);
    }
}

/** Frames that no tick takes away wait; those of any height wait within the bounds of memory. */
TEST_F(ManyLayers, ADecoderWithoutEncoderHandsOutOneFrameACallAndKeepsTheRest) {
    file_.addTransposedConv("d", "input", decoderRecord(1, 1, 1, 1, 3, 1));
    EXPECT_TRUE(exerciseFrom("d").modelLoaded);
    for (const TensorValues& result : results(20)) {
        EXPECT_EQ(result.shape, (Shape{1, 9, 1}));
    }
}

TEST_F(ManyLayers, ADecoderWhoseFramesReachNoOutputKeepsNone) {
    file_.addTransposedConv("d", "input", decoderRecord(1, 1, 1, 1, 127, 127));
    const TemporaryFile model(file_.setOutputSource("input").bytes());
    ApiModel graph(model.path());
    ASSERT_TRUE(graph.created());
    // One frame is 1143 bins, of which 127 wait for a moment: 0.6 MB, over and over.
    expectPeakWithin(std::size_t{4} << 20U, [&] {
        for (int i = 0; i < 50; ++i) {
            graph.run({{1, 9, 1}, std::vector<float>(9, 1.0f)});
        }
    });
}

}  // namespace
}  // namespace vorun::apitest
