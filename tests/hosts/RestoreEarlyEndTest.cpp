// Recordings that hold less than their header promises.
#include "hosts/RestoreFixture.h"

namespace vorun::test {
namespace {

using testing::HasSubstr;

struct CutCase {
    const char* name;
    int format;
};

class RestoreEarlyEndTest : public RestoreTest, public testing::WithParamInterface<CutCase> {
  protected:
    /** A second of 16-bit noise of which the last 40000 bytes are cut away. */
    void writeCut() {
        input_ = folder_.file(GetParam().name);
        noise_.format = GetParam().format;
        writeRecording(input_, noise_);
        const std::string bytes = readBytes(input_);
        writeBytes(input_, bytes.substr(0, bytes.size() - 40000));
    }
};

TEST_P(RestoreEarlyEndTest, CutFileIsRestoredAsFarAsItGoesWithAWarning) {
    writeCut();
    const ProcessResult result = run();
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(isOneLine(result.err)) << result.err;
    EXPECT_THAT(result.err, HasSubstr("vorun-restore: the file ends early: '"));
    EXPECT_THAT(result.err, HasSubstr("lacks 40000 of 96000 bytes"));
    EXPECT_EQ(readIntegers(output_).size(), 28000U);
}

TEST_P(RestoreEarlyEndTest, WholeFileGivesNoWarning) {
    input_ = folder_.file(GetParam().name);
    noise_.format = GetParam().format;
    // A tag puts another chunk beside the sound.
    noise_.title = "odd";
    writeRecording(input_, noise_);
    EXPECT_EQ(restored().samples.size(), 48000U);
}

INSTANTIATE_TEST_SUITE_P(
    Containers, RestoreEarlyEndTest,
    testing::Values(CutCase{"cut.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16},
                    CutCase{"extensible.wav", SF_FORMAT_WAVEX | SF_FORMAT_PCM_16},
                    CutCase{"big.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16 | SF_ENDIAN_BIG},
                    CutCase{"cut.rf64", SF_FORMAT_RF64 | SF_FORMAT_PCM_16},
                    CutCase{"cut.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16}));

TEST_F(RestoreTest, StandInForAnUnknownLengthGivesNoWarning) {
    std::string bytes = readBytes(input_);
    const std::size_t place = bytes.find("data") + 4;
    for (const char* const size : {"\xFF\xFF\xFF\xFF", "\xFF\xFF\xFF\x7F", "\x01\xF0\xFF\x7F"}) {
        writeBytes(input_, bytes.replace(place, 4, size, 4));
        EXPECT_EQ(restored().samples.size(), 48000U);
    }
}

}  // namespace
}  // namespace vorun::test
