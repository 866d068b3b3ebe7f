#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <vector>

#include "restoration/SpectrumCoding.h"
#include "restoration/support/GraphLayers.h"
#include "restoration/support/PassThrough.h"
#include "restoration/support/Spectra.h"

namespace vorun {
namespace {

using test::constantSpectrum;
using test::passThrough;
using test::randomSpectrum;
using test::tensorOf;
using test::toSpectrum;
using Shape = std::vector<std::int32_t>;

constexpr float nan = std::numeric_limits<float>::quiet_NaN();

std::vector<float> valuesOf(const Tensor<float>& tensor) {
    return {tensor.readData(), tensor.readData() + tensor.volume()};
}

TEST(SpectrumToTensor, ComplexBinsTakeFourRowsAndOthersOne) {
    EXPECT_EQ(featureRows(passThrough(257, 0)), 257);
    EXPECT_EQ(featureRows(passThrough(257, 100)), 557);
    EXPECT_EQ(featureRows(passThrough(9, 9)), 36);
    EXPECT_EQ(featureRows(passThrough(0, 0)), 0);
    EXPECT_EQ(featureRows(passThrough(65534, 32767)), 65534 + 3 * 32767);
}

TEST(SpectrumToTensor, SignsOfAComplexBinAreSpreadOverFourRows) {
    const auto rowsOf = [](Ipp32fc bin) {
        return valuesOf(spectrumToTensor(passThrough(1, 1), {toSpectrum({{bin}})}));
    };
    EXPECT_EQ(rowsOf({-3.0f, 4.0f}), (std::vector<float>{0.0f, 4.0f, 3.0f, 0.0f}));
    EXPECT_EQ(rowsOf({3.0f, -4.0f}), (std::vector<float>{3.0f, 0.0f, 0.0f, 4.0f}));
    EXPECT_EQ(rowsOf({3.0f, 4.0f}), (std::vector<float>{3.0f, 4.0f, 0.0f, 0.0f}));
    EXPECT_EQ(rowsOf({-3.0f, -4.0f}), (std::vector<float>{0.0f, 0.0f, 3.0f, 4.0f}));
    EXPECT_EQ(rowsOf({0.0f, -0.0f}), (std::vector<float>{0.0f, 0.0f, 0.0f, 0.0f}));
}

TEST(SpectrumToTensor, MagnitudeRowsFollowTheComplexOnes) {
    const Tensor<float> tensor = spectrumToTensor(
        passThrough(4, 1), {toSpectrum({{{1.0f, -2.0f}, {3.0f, 4.0f}, {-5.0f, 12.0f}, {0, -7}}})});
    EXPECT_EQ(tensor.shape(), (Shape{1, 7, 1}));
    EXPECT_EQ(valuesOf(tensor), (std::vector<float>{1, 0, 0, 2, 5, 13, 7}));
}

TEST(SpectrumToTensor, ZeroFrameGivesZerosWithoutAFloor) {
    const Tensor<float> tensor =
        spectrumToTensor(passThrough(9, 3), {constantSpectrum(2, 9, {0.0f, 0.0f})});
    EXPECT_EQ(tensor.shape(), (Shape{1, 18, 2}));
    for (const float value : valuesOf(tensor)) {
        EXPECT_EQ(value, 0.0f);
    }
}

TEST(SpectrumToTensor, ChannelIsTheFastestIndex) {
    const Tensor<float> tensor =
        spectrumToTensor(passThrough(2, 1, 3),
                         {toSpectrum({{{1, 2}, {3, 4}}, {{-5, 6}, {6, 8}}, {{7, -8}, {5, 12}}})});
    EXPECT_EQ(tensor.shape(), (Shape{1, 5, 3}));
    EXPECT_EQ(valuesOf(tensor),
              (std::vector<float>{1, 0, 7, 2, 6, 0, 0, 5, 0, 0, 0, 8, 5, 10, 13}));
}

TEST(SpectrumToTensor, SeveralFramesStandOneAfterTheOther) {
    const Tensor<float> tensor =
        spectrumToTensor(passThrough(2, 0, 2), {toSpectrum({{{1, 0}, {2, 0}}, {{3, 0}, {4, 0}}}),
                                                toSpectrum({{{0, 5}, {0, 6}}, {{0, 7}, {0, 8}}})});
    EXPECT_EQ(tensor.shape(), (Shape{2, 2, 2}));
    EXPECT_EQ(valuesOf(tensor), (std::vector<float>{1, 3, 2, 4, 5, 7, 6, 8}));
}

TEST(SpectrumToTensor, NoFramesGiveAnEmptyTensor) {
    const Tensor<float> tensor = spectrumToTensor(passThrough(9, 3), {});
    EXPECT_EQ(tensor.rank(), 0);
    EXPECT_EQ(tensor.volume(), 0);
}

TEST(SpectrumToTensor, RowsOfBinsThatTheFrameLacksAreZero) {
    const Tensor<float> tensor =
        spectrumToTensor(passThrough(6, 2), {constantSpectrum(1, 4, {3.0f, 4.0f})});
    EXPECT_EQ(valuesOf(tensor), (std::vector<float>{3, 4, 0, 0, 3, 4, 0, 0, 5, 5, 0, 0}));
}

TEST(SpectrumToTensor, BinsAboveTheModelAreNotCoded) {
    const Tensor<float> tensor =
        spectrumToTensor(passThrough(2, 0), {toSpectrum({{{1, 0}, {2, 0}, {3, 0}, {4, 0}}})});
    EXPECT_EQ(valuesOf(tensor), (std::vector<float>{1, 2}));
}

TEST(SpectrumToTensor, MagnitudesSurviveTheSquaresOverAndUnderflow) {
    const Tensor<float> tensor = spectrumToTensor(
        passThrough(3, 0), {toSpectrum({{{3e30f, 4e30f}, {3e-30f, -4e-30f}, {0.0f, 1e-40f}}})});
    const std::vector<float> values = valuesOf(tensor);
    EXPECT_NEAR(values[0], 5e30f, 1e24f);
    EXPECT_NEAR(values[1], 5e-30f, 1e-36f);
    EXPECT_EQ(values[2], 1e-40f);
}

TEST(SpectrumToTensor, MoreComplexBinsThanTheFrameHasAreRefused) {
    EXPECT_THROW(spectrumToTensor(passThrough(10, 10), {constantSpectrum(1, 9, {1, 1})}),
                 std::runtime_error);
    EXPECT_THROW(spectrumToTensor(passThrough(32767, 32767), {constantSpectrum(1, 9, {1, 1})}),
                 std::runtime_error);
    EXPECT_NO_THROW(spectrumToTensor(passThrough(9, 9), {constantSpectrum(1, 9, {1, 1})}));
}

TEST(SpectrumToTensor, FramesOfDifferentShapeAreRefused) {
    const ComplexSignal32 first = constantSpectrum(2, 9, {1, 1});
    for (const ComplexSignal32& other :
         {constantSpectrum(1, 9, {1, 1}), constantSpectrum(2, 8, {1, 1}), ComplexSignal32()}) {
        EXPECT_THROW(spectrumToTensor(passThrough(9, 9, 2), {first, other}), std::runtime_error);
    }
}

TEST(SpectrumToTensor, NegativeBinCountsNeverReachOutsideTheTensor) {
    const std::vector<ComplexSignal32> frame = {constantSpectrum(1, 9, {1, 1})};
    EXPECT_THROW(spectrumToTensor(passThrough(-1, 0), frame), std::runtime_error);
    EXPECT_THROW(spectrumToTensor(passThrough(-32768, -32768), frame), std::runtime_error);
    // Fewer bins than complex bins: 4 + 3 * 5 = 19 rows for five bins of four rows. The rows that
    // exist are coded as far as they go, or the counts are refused.
    try {
        const Tensor<float> tensor = spectrumToTensor(passThrough(4, 5), frame);
        EXPECT_EQ(tensor.shape(), (Shape{1, 19, 1}));
        EXPECT_EQ(valuesOf(tensor)[17], 1.0f);
        EXPECT_EQ(valuesOf(tensor)[18], 0.0f);
    } catch (const std::runtime_error&) {
        SUCCEED();
    }
}

TEST(SpectrumToTensor, NanShowsInItsOwnRowsOnly) {
    ComplexSignal32 frame = constantSpectrum(1, 4, {3.0f, 4.0f});
    frame.channelData(0)[0].re = nan;
    frame.channelData(0)[2].im = nan;
    const std::vector<float> values = valuesOf(spectrumToTensor(passThrough(4, 2), {frame}));
    EXPECT_EQ(values[1], 4.0f);
    EXPECT_EQ(values[3], 0.0f);
    EXPECT_EQ(values[4], 3.0f);
    EXPECT_TRUE(std::isnan(values[8]));
    EXPECT_EQ(values[9], 5.0f);
}

TEST(TensorToSpectra, ComplexRowsGiveTheBinBack) {
    const auto spectra =
        tensorToSpectra(passThrough(2, 2), tensorOf({1, 8, 1}, {0, 4, 3, 0, 5, 1, 2, 7}), 2);
    ASSERT_EQ(spectra.size(), 1U);
    test::expectNear(spectra[0], {{{-3.0, 4.0}, {3.0, -6.0}}}, 0.0);
}

TEST(TensorToSpectra, MagnitudeRowsBecomeRealValuesOfEitherSign) {
    const auto spectra =
        tensorToSpectra(passThrough(3, 1), tensorOf({1, 6, 1}, {1, 2, 0, 0, -0.5f, 0.25f}), 3);
    ASSERT_EQ(spectra.size(), 1U);
    test::expectNear(spectra[0], {{{1.0, 2.0}, {-0.5, 0.0}, {0.25, 0.0}}}, 0.0);
}

TEST(TensorToSpectra, UndoesTheCodingOfComplexBins) {
    const NeuralModel<float> model = passThrough(33, 33, 3);
    const ComplexSignal32 frame = randomSpectrum(3, 33, 1);
    const auto spectra = tensorToSpectra(model, spectrumToTensor(model, {frame}), 33);
    ASSERT_EQ(spectra.size(), 1U);
    test::expectSame(spectra[0], frame);
}

TEST(TensorToSpectra, EveryResultChannelIsDecoded) {
    // Two masks of two channels; the channel is the fastest index.
    NeuralModel<float> model = passThrough(2, 0, 2);
    model.maskCount = 2;
    const auto spectra = tensorToSpectra(model, tensorOf({1, 2, 4}, {1, 2, 3, 4, 5, 6, 7, 8}), 2);
    ASSERT_EQ(spectra.size(), 1U);
    test::expectNear(spectra[0],
                     {{{1, 0}, {5, 0}}, {{2, 0}, {6, 0}}, {{3, 0}, {7, 0}}, {{4, 0}, {8, 0}}}, 0.0);
}

TEST(TensorToSpectra, NoResultGivesNoSpectra) {
    const NeuralModel<float> model = passThrough(9, 0);
    EXPECT_TRUE(tensorToSpectra(model, Tensor<float>(), 9).empty());
    EXPECT_TRUE(tensorToSpectra(model, Tensor<float>(Shape{0, 9, 1}), 9).empty());
}

TEST(TensorToSpectra, RowsOfBinsThatTheFrameLacksAreIgnored) {
    const auto spectra =
        tensorToSpectra(passThrough(5, 1), tensorOf({1, 8, 1}, {1, 0, 0, 2, 3, 4, 5, 6}), 3);
    ASSERT_EQ(spectra.size(), 1U);
    test::expectNear(spectra[0], {{{1, -2}, {3, 0}, {4, 0}}}, 0.0);
}

TEST(TensorToSpectra, SeveralFramesComeInOrder) {
    const auto spectra =
        tensorToSpectra(passThrough(2, 0), tensorOf({3, 2, 1}, {1, 2, 3, 4, 5, 6}), 2);
    ASSERT_EQ(spectra.size(), 3U);
    test::expectNear(spectra[0], {{{1, 0}, {2, 0}}}, 0.0);
    test::expectNear(spectra[1], {{{3, 0}, {4, 0}}}, 0.0);
    test::expectNear(spectra[2], {{{5, 0}, {6, 0}}}, 0.0);
}

TEST(TensorToSpectra, FewerRowsThanTheHeaderPromisesAreRefused) {
    EXPECT_THROW(tensorToSpectra(passThrough(9, 0), Tensor<float>(Shape{1, 8, 1}), 9),
                 std::runtime_error);
    EXPECT_THROW(tensorToSpectra(passThrough(9, 9), Tensor<float>(Shape{1, 35, 1}), 9),
                 std::runtime_error);
    EXPECT_THROW(tensorToSpectra(passThrough(32767, 32767), Tensor<float>(Shape{1, 9, 1}), 40000),
                 std::runtime_error);
}

TEST(TensorToSpectra, FewerChannelsThanTheHeaderPromisesAreRefused) {
    NeuralModel<float> model = passThrough(2, 0, 2);
    model.maskCount = 3;
    EXPECT_THROW(tensorToSpectra(model, Tensor<float>(Shape{1, 2, 5}), 2), std::runtime_error);
    EXPECT_NO_THROW(tensorToSpectra(model, tensorOf({1, 2, 6}, std::vector<float>(12, 1.0f)), 2));
}

TEST(TensorToSpectra, MoreRowsAndChannelsThanPromisedCompute) {
    const auto spectra = tensorToSpectra(
        passThrough(2, 0), tensorOf({2, 3, 2}, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}), 2);
    ASSERT_EQ(spectra.size(), 2U);
    test::expectNear(spectra[0], {{{1, 0}, {3, 0}}, {{2, 0}, {4, 0}}}, 0.0);
    test::expectNear(spectra[1], {{{7, 0}, {9, 0}}, {{8, 0}, {10, 0}}}, 0.0);
}

TEST(TensorToSpectra, TensorsOfOtherRankAreRefused) {
    EXPECT_THROW(tensorToSpectra(passThrough(1, 0), tensorOf({2}, {1, 2}), 1), std::runtime_error);
    EXPECT_THROW(tensorToSpectra(passThrough(1, 0), tensorOf({1, 2}, {1, 2}), 1),
                 std::runtime_error);
}

TEST(EvaluateModel, PassThroughNetworkGivesTheFrameBack) {
    NeuralModel<float> model = passThrough(17, 17, 2);
    const ComplexSignal32 frame = randomSpectrum(2, 17, 3);
    const auto spectra = evaluateModel(model, frame);
    ASSERT_EQ(spectra.size(), 1U);
    test::expectSame(spectra[0], frame);
    EXPECT_FALSE(spectra[0].sharesBufferWith(frame));
}

TEST(EvaluateModel, LeavesTheFrameUntouchedAndUnheld) {
    NeuralModel<float> model = passThrough(9, 9);
    const ComplexSignal32 frame = constantSpectrum(1, 9, {0.5f, -0.5f});
    evaluateModel(model, frame);
    EXPECT_EQ(frame.useCount(), 1);
    test::expectSame(frame, constantSpectrum(1, 9, {0.5f, -0.5f}));
}

TEST(EvaluateModel, NetworkSeesOneFrameOfTheFeatureShape) {
    NeuralModel<float> model = passThrough(9, 4, 2);
    Shape seen;
    test::putBehindInput(model, [&](test::ActionLayer& layer, const Tensor<float>& input) {
        seen = input.shape();
        return layer.PropagateToConsumers(input, &layer);
    });
    evaluateModel(model, constantSpectrum(2, 9, {1, 1}));
    EXPECT_EQ(seen, (Shape{1, 21, 2}));
}

TEST(EvaluateModel, NothingComesOutWhileTheNetworkHoldsFramesBack) {
    NeuralModel<float> model = passThrough(9, 9);
    test::putBehindInput(model, [](auto&, const Tensor<float>&) { return false; });
    EXPECT_TRUE(evaluateModel(model, constantSpectrum(1, 9, {1, 1})).empty());
}

TEST(EvaluateModel, SeveralResultsOfOneFrameComeInOrder) {
    NeuralModel<float> model = passThrough(1, 0);
    test::putBehindInput(model, [](test::ActionLayer& layer, const Tensor<float>&) {
        layer.PropagateToConsumers(tensorOf({1, 1, 1}, {2}), &layer);
        return layer.PropagateToConsumers(tensorOf({1, 1, 1}, {3}), &layer);
    });
    const auto spectra = evaluateModel(model, constantSpectrum(1, 1, {1, 0}));
    ASSERT_EQ(spectra.size(), 2U);
    EXPECT_EQ(spectra[0].readData(0)[0].re, 2.0f);
    EXPECT_EQ(spectra[1].readData(0)[0].re, 3.0f);
}

TEST(EvaluateModel, FailureOfALayerPassesThrough) {
    NeuralModel<float> model = passThrough(9, 9);
    test::putBehindInput(model, [](auto&, const Tensor<float>&) -> bool {
        throw std::domain_error("this layer always fails");
    });
    try {
        evaluateModel(model, constantSpectrum(1, 9, {1, 1}));
        FAIL() << "no failure came through";
    } catch (const std::domain_error& failure) {
        EXPECT_STREQ(failure.what(), "this layer always fails");
    }
}

}  // namespace
}  // namespace vorun
