#include "foundation/vector/StatusTable.h"

#include <iterator>

namespace vorun {

namespace {

constexpr StatusRow table[] = {
    {-9999, "ippStsCpuNotSupportedErr: The processor is not supported"},
    {-9998, "ippStsInplaceModeNotSupportedErr: The operation cannot work in place"},
    {-9702, "No shared libraries were found in the Waterfall procedure"},
    {-9701, "No DLLs were found in the Waterfall procedure"},
    {-9700, "Error at loading of %s library"},
    {-234, "ippStsIIRIIRLengthErr: The vector is too short for forward and backward IIR filtering"},
    {-233, "ippStsWarpTransformTypeErr: Invalid type of warp transform"},
    {-232, "ippStsExceededSizeErr: The requested size exceeds the largest one supported"},
    {-231, "ippStsWarpDirectionErr: Invalid direction of warp transform"},
    {-230, "ippStsFilterTypeErr: Invalid type of filter"},
    {-229, "ippStsNormErr: Invalid type of norm"},
    {-228, "ippStsAlgTypeErr: Invalid type of algorithm"},
    {-227, "ippStsMisalignedOffsetErr: The offset is not aligned to the element size"},
    {-225, "ippStsBorderErr: Invalid type of border"},
    {-224, "ippStsDitherTypeErr: Invalid type of dithering"},
    {-221, "ippStsLoadDynErr: A dynamic library could not be loaded"},
    {-216, "ippStsUnknownStatusCodeErr: Unknown status code"},
    {-214, "ippStsLzoBrokenStreamErr: The compressed LZO stream is damaged"},
    {-213, "ippStsRoundModeNotSupportedErr: The rounding mode is not supported"},
    {-212, "ippStsDecimateFractionErr: Invalid fraction for decimation"},
    {-211, "ippStsWeightErr: Invalid value of a weight"},
    {-210, "ippStsQualityIndexErr: The quality index cannot be computed"},
    {-209, "ippStsIIRPassbandRippleErr: Invalid passband ripple of an IIR filter"},
    {-208, "ippStsFilterFrequencyErr: Invalid cut-off frequency of a filter"},
    {-206, "ippStsIIRGenOrderErr: Invalid order for the design of an IIR filter"},
    {-205, "ippStsConvergeErr: The algorithm does not converge"},
    {-204, "ippStsSizeMatchMatrixErr: The sizes of the matrices do not match"},
    {-203, "ippStsCountMatrixErr: Invalid number of matrices"},
    {-202, "ippStsRoiShiftMatrixErr: The shift of the matrix region does not fit the element size"},
    {-200, "ippStsSrcDataErr: The source holds data that the operation cannot accept"},
    {-195, "ippStsSingularErr: The matrix is singular"},
    {-194, "ippStsSparseErr: The positions of the taps are not ascending, negative or repeated"},
    {-190, "ippStsRegExpOptionsErr: Invalid options of a regular expression"},
    {-189, "ippStsRegExpErr: Invalid structure of a regular expression"},
    {-188, "ippStsRegExpMatchLimitErr: The limit of matches of a regular expression is exhausted"},
    {-187, "ippStsRegExpQuantifierErr: Invalid quantifier in a regular expression"},
    {-186, "ippStsRegExpGroupingErr: Invalid grouping in a regular expression"},
    {-185, "ippStsRegExpBackRefErr: Invalid back reference in a regular expression"},
    {-184, "ippStsRegExpChClassErr: Invalid character class in a regular expression"},
    {-183, "ippStsRegExpMetaChErr: Invalid metacharacter in a regular expression"},
    {-182, "ippStsStrideMatrixErr: Invalid stride of a matrix"},
    {-125, "ippStsNoiseRangeErr: Invalid range of the noise"},
    {-108, "ippStsNotEvenStepErr: The step is not a multiple of the element size"},
    {-107, "ippStsHistoNofLevelsErr: Invalid number of histogram levels"},
    {-106, "ippStsLUTNofLevelsErr: Invalid number of levels of a look-up table"},
    {-60, "ippStsChannelOrderErr: Invalid order of the channels"},
    {-59, "ippStsDataTypeErr: Invalid or unsupported data type"},
    {-58, "ippStsQuadErr: The quadrangle is degenerate or not convex"},
    {-57, "ippStsRectErr: The rectangle is degenerate"},
    {-56, "ippStsCoeffErr: Invalid value of a coefficient"},
    {-55, "ippStsNoiseValErr: Invalid value of the noise amplitude"},
    {-54, "ippStsDitherLevelsErr: Invalid number of dithering levels"},
    {-53, "ippStsNumChannelsErr: Invalid or unsupported number of channels"},
    {-52, "ippStsCOIErr: The channel of interest is out of range"},
    {-51, "ippStsDivisorErr: The divisor is zero or cannot be used"},
    {-50, "ippStsAlphaTypeErr: Invalid type of alpha composition"},
    {-49, "ippStsGammaRangeErr: Invalid range of the gamma correction"},
    {-47, "ippStsChannelErr: Invalid channel number"},
    {-46, "ippStsToneMagnErr: Invalid magnitude of a tone"},
    {-45, "ippStsToneFreqErr: Invalid frequency of a tone"},
    {-44, "ippStsTonePhaseErr: Invalid phase of a tone"},
    {-43, "ippStsTrnglMagnErr: Invalid magnitude of a triangle wave"},
    {-42, "ippStsTrnglFreqErr: Invalid frequency of a triangle wave"},
    {-41, "ippStsTrnglPhaseErr: Invalid phase of a triangle wave"},
    {-40, "ippStsTrnglAsymErr: Invalid asymmetry of a triangle wave"},
    {-39, "ippStsHugeWinErr: The window is too large"},
    {-38, "ippStsJaehneErr: Invalid magnitude of a Jaehne signal"},
    {-37, "ippStsStrideErr: The stride is shorter than a row"},
    {-36, "ippStsEpsValErr: Invalid value of epsilon"},
    {-35, "ippStsWtOffsetErr: Invalid offset of a wavelet filter"},
    {-34, "ippStsAnchorErr: The anchor point lies outside the mask"},
    {-33, "ippStsMaskSizeErr: Invalid size of the mask"},
    {-32, "ippStsShiftErr: Invalid value of a shift"},
    {-31, "ippStsSampleFactorErr: Invalid sampling factor"},
    {-30, "ippStsSamplePhaseErr: The sampling phase is outside its range"},
    {-29, "ippStsFIRMRFactorErr: Invalid sampling factor of a multirate FIR filter"},
    {-28, "ippStsFIRMRPhaseErr: Invalid sampling phase of a multirate FIR filter"},
    {-27, "ippStsRelFreqErr: Invalid value of a relative frequency"},
    {-26, "ippStsFIRLenErr: Invalid length of an FIR filter"},
    {-25, "ippStsIIROrderErr: Invalid order of an IIR filter"},
    {-24, "ippStsResizeFactorErr: Invalid resize factor"},
    {-23, "ippStsInterpolationErr: Invalid mode of interpolation"},
    {-22, "ippStsMirrorFlipErr: Invalid mode of mirroring"},
    {-21, "ippStsMoment00ZeroErr: The moment of order zero is too close to zero"},
    {-20, "ippStsThreshNegLevelErr: Negative level of a threshold"},
    {-19, "ippStsThresholdErr: Invalid threshold bounds"},
    {-18, "ippStsFftFlagErr: Invalid value for the FFT flag parameter"},
    {-17, "ippStsFftOrderErr: Invalid value for the FFT order parameter"},
    {-16, "ippStsStepErr: Invalid value of a step"},
    {-15, "ippStsLengthErr: Invalid length of a string or vector"},
    {-14, "ippStsNotSupportedModeErr: The requested mode is not supported"},
    {-13, "ippStsContextMatchErr: Context parameter does not match the operation"},
    {-12, "ippStsScaleRangeErr: The scale is outside its range"},
    {-11, "ippStsOutOfRangeErr: An argument or index is out of range"},
    {-10, "ippStsDivByZeroErr: Division by zero"},
    {-9, "ippStsMemAllocErr: Memory could not be allocated"},
    {-8, "ippStsNullPtrErr: Null pointer error"},
    {-7, "ippStsRangeErr: Invalid bounds of a range"},
    {-6, "ippStsSizeErr: Incorrect value for data size"},
    {-5, "ippStsBadArgErr: Invalid argument of the function"},
    {-4, "ippStsNoMemErr: Not enough memory for the operation"},
    {-2, "ippStsErr: Unspecified error"},
    {0, "ippStsNoErr: No errors"},
    {1, "ippStsNoOperation: Nothing was done"},
    {2, "ippStsDivByZero: Zero value(s) for the divisor in the Div function"},
    {3, "ippStsSqrtNegArg: Negative value(s) for the argument in the Sqrt function"},
    {4, "ippStsInvZero: Zero value(s) met where an inverse was to be formed"},
    {5, "ippStsEvenMedianMaskSize: The even size of a median mask was replaced by an odd one"},
    {7, "ippStsLnZeroArg: Zero value(s) for the argument in the Ln function"},
    {8, "ippStsLnNegArg: Negative value(s) for the argument in the Ln function"},
    {9, "ippStsNanArg: NaN value(s) for the argument of the function"},
    {12, "ippStsOverflow: Overflow in the operation"},
    {17, "ippStsUnderflow: Underflow in the operation"},
    {18, "ippStsSingularity: Singularity in the operation"},
    {19, "ippStsDomain: An argument is outside the domain of the function"},
    {20, "ippStsNonIntelCpu: The processor is not one of the maker for which the code was tuned"},
    {21, "ippStsCpuMismatch: The chosen variant does not match the processor"},
    {26, "ippStsOvermuchStrings: The number of strings exceeds the expected one"},
    {27, "ippStsOverlongString: The length of a string exceeds the expected one"},
    {28,
     "ippStsAffineQuadChanged: The fourth corner of the quadrangle was moved to make the transform "
     "affine"},
    {29, "ippStsWrongIntersectROI: The region of interest does not meet the image"},
    {30, "ippStsWrongIntersectQuad: The quadrangle does not meet the region of interest"},
    {32, "ippStsSrcSizeLessExpected: The source is smaller than expected"},
    {33, "ippStsDstSizeLessExpected: The destination is smaller than expected"},
    {35, "ippStsDoubleSize: The sizes are not multiples of 2"},
    {36, "ippStsNotSupportedCpu: The processor is not fully supported"},
    {37, "ippStsUnknownCacheSize: The size of the cache is unknown"},
    {38, "ippStsSymKernelExpected: The kernel is not symmetric as expected"},
    {39, "ippStsEvenMedianWeight: The even weight of a weighted median was replaced by an odd one"},
    {40, "ippStsWrongIntersectVOI: The volume of interest does not meet the volume"},
    {43, "ippStsWaterfall: Another variant than the one of this processor is in use"},
    {46, "ippStsNoAntialiasing: The mode does not support antialiasing"},
    {47, "ippStsRepetitiveSrcData: The source data repeat themselves"},
    {48, "ippStsSizeWrn: The size does not fit the operation well"},
    {49, "ippStsFeatureNotSupported: The processor lacks a requested feature"},
    {50, "ippStsUnknownFeature: A requested feature is unknown"},
    {51, "ippStsFeaturesCombination: The combination of features is not consistent"},
    {52, "ippStsAccurateModeNotSupported: The accurate mode is not supported"},
    {53, "The function is inefficient due to the combination of input parameters"},
};
static_assert(std::size(table) == statusRowCount);

constexpr IppStatus unknownStatusCode = -216;

// Null for a code that is not in the table.
constexpr const char* findMessage(IppStatus status) {
    for (const StatusRow& row : table) {
        if (row.code == status) {
            return row.message;
        }
    }
    return nullptr;
}

constexpr const char* unknownMessage = findMessage(unknownStatusCode);
static_assert(unknownMessage != nullptr);

}  // namespace

std::span<const StatusRow> statusRows() {
    return table;
}

const char* ippGetStatusString(IppStatus status) {
    const char* const message = findMessage(status);
    return message != nullptr ? message : unknownMessage;
}

}  // namespace vorun
