#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <string_view>

#include "foundation/vector/StatusTable.h"

namespace vorun {
namespace {

TEST(StatusTable, Holds139RowsByAscendingCode) {
    const auto rows = statusRows();
    ASSERT_EQ(rows.size(), 139U);
    EXPECT_EQ(rows.front().code, -9999);
    EXPECT_EQ(rows.back().code, 53);
    for (std::size_t i = 1; i < rows.size(); ++i) {
        EXPECT_LT(rows[i - 1].code, rows[i].code);
    }
}

TEST(StatusTable, HoldsEveryCode) {
    // Runs of codes, both ends included.
    struct Run {
        std::int32_t first;
        std::int32_t last;
    };
    constexpr Run runs[] = {
        {-9999, -9998}, {-9702, -9700}, {-234, -227}, {-225, -224}, {-221, -221},
        {-216, -216},   {-214, -208},   {-206, -202}, {-200, -200}, {-195, -194},
        {-190, -182},   {-125, -125},   {-108, -106}, {-60, -49},   {-47, -4},
        {-2, -2},       {0, 5},         {7, 9},       {12, 12},     {17, 21},
        {26, 30},       {32, 33},       {35, 40},     {43, 43},     {46, 53}};
    std::size_t row = 0;
    for (const Run run : runs) {
        for (std::int32_t code = run.first; code <= run.last; ++code, ++row) {
            ASSERT_LT(row, statusRows().size());
            ASSERT_EQ(statusRows()[row].code, code);
        }
    }
    EXPECT_EQ(row, statusRows().size());
}

TEST(StatusTable, MessagesAreANameAColonAndASentence) {
    int nameless = 0;
    for (const StatusRow& row : statusRows()) {
        const std::string_view message = row.message;
        if (!message.starts_with("ippSts")) {
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

TEST(StatusTable, NamelessRowsAreTheirMessage) {
    EXPECT_STREQ(ippGetStatusString(-9702),
                 "No shared libraries were found in the Waterfall procedure");
    EXPECT_STREQ(ippGetStatusString(-9701), "No DLLs were found in the Waterfall procedure");
    EXPECT_STREQ(ippGetStatusString(-9700), "Error at loading of %s library");
    EXPECT_STREQ(ippGetStatusString(53),
                 "The function is inefficient due to the combination of input parameters");
}

TEST(StatusTable, NamesBelongToTheirCodes) {
    const auto startsWith = [](IppStatus status, const std::string& name) {
        return std::string(ippGetStatusString(status)).starts_with(name + ": ");
    };
    EXPECT_TRUE(startsWith(-9999, "ippStsCpuNotSupportedErr"));
    EXPECT_TRUE(startsWith(-234, "ippStsIIRIIRLengthErr"));
    EXPECT_TRUE(startsWith(-205, "ippStsConvergeErr"));
    EXPECT_TRUE(startsWith(-182, "ippStsStrideMatrixErr"));
    EXPECT_TRUE(startsWith(-60, "ippStsChannelOrderErr"));
    EXPECT_TRUE(startsWith(-47, "ippStsChannelErr"));
    EXPECT_TRUE(startsWith(-38, "ippStsJaehneErr"));
    EXPECT_TRUE(startsWith(-9, "ippStsMemAllocErr"));
    EXPECT_TRUE(startsWith(-2, "ippStsErr"));
    EXPECT_TRUE(startsWith(20, "ippStsNonIntelCpu"));
    EXPECT_TRUE(startsWith(40, "ippStsWrongIntersectVOI"));
    EXPECT_TRUE(startsWith(52, "ippStsAccurateModeNotSupported"));
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
