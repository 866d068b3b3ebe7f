#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

#include "foundation/vector/StatusTable.h"

namespace vorun {
namespace {

// What each code must say: the name before the colon, or all of the message where the code has no
// name.
struct Expected {
    IppStatus code;
    const char* text;
};

constexpr Expected expectedRows[] = {
    {-9999, "ippStsCpuNotSupportedErr"},
    {-9998, "ippStsInplaceModeNotSupportedErr"},
    {-9702, "No shared libraries were found in the Waterfall procedure"},
    {-9701, "No DLLs were found in the Waterfall procedure"},
    {-9700, "Error at loading of %s library"},
    {-234, "ippStsIIRIIRLengthErr"},
    {-233, "ippStsWarpTransformTypeErr"},
    {-232, "ippStsExceededSizeErr"},
    {-231, "ippStsWarpDirectionErr"},
    {-230, "ippStsFilterTypeErr"},
    {-229, "ippStsNormErr"},
    {-228, "ippStsAlgTypeErr"},
    {-227, "ippStsMisalignedOffsetErr"},
    {-225, "ippStsBorderErr"},
    {-224, "ippStsDitherTypeErr"},
    {-221, "ippStsLoadDynErr"},
    {-216, "ippStsUnknownStatusCodeErr"},
    {-214, "ippStsLzoBrokenStreamErr"},
    {-213, "ippStsRoundModeNotSupportedErr"},
    {-212, "ippStsDecimateFractionErr"},
    {-211, "ippStsWeightErr"},
    {-210, "ippStsQualityIndexErr"},
    {-209, "ippStsIIRPassbandRippleErr"},
    {-208, "ippStsFilterFrequencyErr"},
    {-206, "ippStsIIRGenOrderErr"},
    {-205, "ippStsConvergeErr"},
    {-204, "ippStsSizeMatchMatrixErr"},
    {-203, "ippStsCountMatrixErr"},
    {-202, "ippStsRoiShiftMatrixErr"},
    {-200, "ippStsSrcDataErr"},
    {-195, "ippStsSingularErr"},
    {-194, "ippStsSparseErr"},
    {-190, "ippStsRegExpOptionsErr"},
    {-189, "ippStsRegExpErr"},
    {-188, "ippStsRegExpMatchLimitErr"},
    {-187, "ippStsRegExpQuantifierErr"},
    {-186, "ippStsRegExpGroupingErr"},
    {-185, "ippStsRegExpBackRefErr"},
    {-184, "ippStsRegExpChClassErr"},
    {-183, "ippStsRegExpMetaChErr"},
    {-182, "ippStsStrideMatrixErr"},
    {-125, "ippStsNoiseRangeErr"},
    {-108, "ippStsNotEvenStepErr"},
    {-107, "ippStsHistoNofLevelsErr"},
    {-106, "ippStsLUTNofLevelsErr"},
    {-60, "ippStsChannelOrderErr"},
    {-59, "ippStsDataTypeErr"},
    {-58, "ippStsQuadErr"},
    {-57, "ippStsRectErr"},
    {-56, "ippStsCoeffErr"},
    {-55, "ippStsNoiseValErr"},
    {-54, "ippStsDitherLevelsErr"},
    {-53, "ippStsNumChannelsErr"},
    {-52, "ippStsCOIErr"},
    {-51, "ippStsDivisorErr"},
    {-50, "ippStsAlphaTypeErr"},
    {-49, "ippStsGammaRangeErr"},
    {-47, "ippStsChannelErr"},
    {-46, "ippStsToneMagnErr"},
    {-45, "ippStsToneFreqErr"},
    {-44, "ippStsTonePhaseErr"},
    {-43, "ippStsTrnglMagnErr"},
    {-42, "ippStsTrnglFreqErr"},
    {-41, "ippStsTrnglPhaseErr"},
    {-40, "ippStsTrnglAsymErr"},
    {-39, "ippStsHugeWinErr"},
    {-38, "ippStsJaehneErr"},
    {-37, "ippStsStrideErr"},
    {-36, "ippStsEpsValErr"},
    {-35, "ippStsWtOffsetErr"},
    {-34, "ippStsAnchorErr"},
    {-33, "ippStsMaskSizeErr"},
    {-32, "ippStsShiftErr"},
    {-31, "ippStsSampleFactorErr"},
    {-30, "ippStsSamplePhaseErr"},
    {-29, "ippStsFIRMRFactorErr"},
    {-28, "ippStsFIRMRPhaseErr"},
    {-27, "ippStsRelFreqErr"},
    {-26, "ippStsFIRLenErr"},
    {-25, "ippStsIIROrderErr"},
    {-24, "ippStsResizeFactorErr"},
    {-23, "ippStsInterpolationErr"},
    {-22, "ippStsMirrorFlipErr"},
    {-21, "ippStsMoment00ZeroErr"},
    {-20, "ippStsThreshNegLevelErr"},
    {-19, "ippStsThresholdErr"},
    {-18, "ippStsFftFlagErr"},
    {-17, "ippStsFftOrderErr"},
    {-16, "ippStsStepErr"},
    {-15, "ippStsLengthErr"},
    {-14, "ippStsNotSupportedModeErr"},
    {-13, "ippStsContextMatchErr"},
    {-12, "ippStsScaleRangeErr"},
    {-11, "ippStsOutOfRangeErr"},
    {-10, "ippStsDivByZeroErr"},
    {-9, "ippStsMemAllocErr"},
    {-8, "ippStsNullPtrErr"},
    {-7, "ippStsRangeErr"},
    {-6, "ippStsSizeErr"},
    {-5, "ippStsBadArgErr"},
    {-4, "ippStsNoMemErr"},
    {-2, "ippStsErr"},
    {0, "ippStsNoErr"},
    {1, "ippStsNoOperation"},
    {2, "ippStsDivByZero"},
    {3, "ippStsSqrtNegArg"},
    {4, "ippStsInvZero"},
    {5, "ippStsEvenMedianMaskSize"},
    {7, "ippStsLnZeroArg"},
    {8, "ippStsLnNegArg"},
    {9, "ippStsNanArg"},
    {12, "ippStsOverflow"},
    {17, "ippStsUnderflow"},
    {18, "ippStsSingularity"},
    {19, "ippStsDomain"},
    {20, "ippStsNonIntelCpu"},
    {21, "ippStsCpuMismatch"},
    {26, "ippStsOvermuchStrings"},
    {27, "ippStsOverlongString"},
    {28, "ippStsAffineQuadChanged"},
    {29, "ippStsWrongIntersectROI"},
    {30, "ippStsWrongIntersectQuad"},
    {32, "ippStsSrcSizeLessExpected"},
    {33, "ippStsDstSizeLessExpected"},
    {35, "ippStsDoubleSize"},
    {36, "ippStsNotSupportedCpu"},
    {37, "ippStsUnknownCacheSize"},
    {38, "ippStsSymKernelExpected"},
    {39, "ippStsEvenMedianWeight"},
    {40, "ippStsWrongIntersectVOI"},
    {43, "ippStsWaterfall"},
    {46, "ippStsNoAntialiasing"},
    {47, "ippStsRepetitiveSrcData"},
    {48, "ippStsSizeWrn"},
    {49, "ippStsFeatureNotSupported"},
    {50, "ippStsUnknownFeature"},
    {51, "ippStsFeaturesCombination"},
    {52, "ippStsAccurateModeNotSupported"},
    {53, "The function is inefficient due to the combination of input parameters"},
};

bool isName(std::string_view text) {
    return text.starts_with("ippSts");
}

TEST(StatusTable, HoldsEveryCodeWithItsNameInAscendingOrder) {
    static_assert(std::size(expectedRows) == 139);
    const auto rows = statusRows();
    ASSERT_EQ(rows.size(), std::size(expectedRows));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const std::string_view text = expectedRows[i].text;
        const std::string_view message = rows[i].message;
        EXPECT_EQ(rows[i].code, expectedRows[i].code) << "row " << i;
        EXPECT_EQ(isName(text) ? message.substr(0, message.find(": ")) : message, text);
        EXPECT_EQ(ippGetStatusString(expectedRows[i].code), message);
    }
}

TEST(StatusTable, MessagesAreANameAColonAndASentence) {
    int nameless = 0;
    for (const StatusRow& row : statusRows()) {
        const std::string_view message = row.message;
        if (!isName(message)) {
            ++nameless;
            continue;
        }
        const std::size_t colon = message.find(": ");
        ASSERT_NE(colon, std::string_view::npos) << message;
        EXPECT_EQ(message.substr(0, colon).find(' '), std::string_view::npos) << message;
        EXPECT_GT(message.size(), colon + 6) << message;
        // Errors are negative and their names say so.
        if (row.code < 0) {
            EXPECT_TRUE(message.substr(0, colon).ends_with("Err")) << message;
        } else if (row.code > 0) {
            EXPECT_FALSE(message.substr(0, colon).ends_with("Err")) << message;
        }
    }
    EXPECT_EQ(nameless, 4);
}

TEST(StatusTable, MessagesOfTheFamilysOwnStatusesStandWordForWord) {
    const auto text = [](IppStatus status) { return std::string(ippGetStatusString(status)); };
    EXPECT_EQ(text(0), "ippStsNoErr: No errors");
    EXPECT_EQ(text(-6), "ippStsSizeErr: Incorrect value for data size");
    EXPECT_EQ(text(-8), "ippStsNullPtrErr: Null pointer error");
    EXPECT_EQ(text(-13), "ippStsContextMatchErr: Context parameter does not match the operation");
    EXPECT_EQ(text(-17), "ippStsFftOrderErr: Invalid value for the FFT order parameter");
    EXPECT_EQ(text(-18), "ippStsFftFlagErr: Invalid value for the FFT flag parameter");
    EXPECT_EQ(text(-19), "ippStsThresholdErr: Invalid threshold bounds");
    EXPECT_EQ(text(2), "ippStsDivByZero: Zero value(s) for the divisor in the Div function");
    EXPECT_EQ(text(7), "ippStsLnZeroArg: Zero value(s) for the argument in the Ln function");
    EXPECT_EQ(text(8), "ippStsLnNegArg: Negative value(s) for the argument in the Ln function");
}

TEST(StatusTable, UnknownCodesGiveTheMessageOfTheUnknownStatus) {
    const std::string unknown = "ippStsUnknownStatusCodeErr: Unknown status code";
    for (const IppStatus status : {12345, 6, -1, -3, -48, std::numeric_limits<IppStatus>::min(),
                                   std::numeric_limits<IppStatus>::max(), -216}) {
        EXPECT_EQ(ippGetStatusString(status), unknown) << status;
    }
}

}  // namespace
}  // namespace vorun
