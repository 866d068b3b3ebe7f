#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "audio/ChannelLayout.h"
#include "audio/SpeakerDescription.h"

namespace vorun {
namespace {

struct Expected {
    int id;
    std::string shortName;
    std::string name;
    float x;
    float y;
    float z;
};

const std::vector<Expected>& allSpeakers() {
    static const std::vector<Expected> speakers = {
        {1, "M", "Mono", 0, 1, 0},
        {2, "L", "Left", -1, 1, 0},
        {3, "R", "Right", 1, 1, 0},
        {4, "C", "Center", 0, 1, 0},
        {5, "LFE", "Low frequency effects", 0, -1, 0},
        {6, "LS", "Left surround", -1, -1, 0},
        {7, "RS", "Right surround", 1, -1, 0},
        {8, "LC", "Left of center", -0.5F, 1, 0},
        {9, "RC", "Right of center", 0.5F, 1, 0},
        {10, "S", "Surround", 0, -1, 0},
        {11, "SL", "Side left", -1, 0, 0},
        {12, "SR", "Side right", 1, 0, 0},
        {13, "TM", "Top middle", 0, 0, 1},
        {14, "TFL", "Top front left", -1, 1, 1},
        {15, "TFC", "Top front center", 0, 1, 1},
        {16, "TFR", "Top front right", 1, 1, 1},
        {17, "TRL", "Top rear left", 1, -1, 1},
        {18, "TRC", "Top rear center", 0, -1, 1},
        {19, "TRR", "Top rear right", 1, -1, 1},
        {20, "TSL", "Top side left", -1, 0, 1},
        {21, "TSR", "Top side right", 1, 0, 1},
    };
    return speakers;
}

void expectSpeaker(const SpeakerDescription& speaker, const Expected& expected) {
    EXPECT_EQ(speaker.id, expected.id);
    EXPECT_EQ(speaker.shortName, expected.shortName);
    EXPECT_EQ(speaker.name, expected.name);
    EXPECT_EQ(speaker.x, expected.x);
    EXPECT_EQ(speaker.y, expected.y);
    EXPECT_EQ(speaker.z, expected.z);
}

TEST(SpeakerDescription, NamesAndPlacesEverySpeaker) {
    for (const Expected& expected : allSpeakers()) {
        SCOPED_TRACE(expected.name);
        expectSpeaker(SpeakerDescription(expected.id), expected);
    }
}

TEST(SpeakerDescription, TopRearLeftStandsAtTheSamePlaceAsTopRearRight) {
    const SpeakerDescription left(17);
    const SpeakerDescription right(19);
    EXPECT_EQ(left.x, right.x);
    EXPECT_EQ(left.y, right.y);
    EXPECT_EQ(left.z, right.z);
}

TEST(SpeakerDescription, OnlyTheLowFrequencySpeakerHasACutoff) {
    for (int id = 0; id <= 22; ++id) {
        EXPECT_EQ(SpeakerDescription(id).cutoff, id == 5 ? 120.0F : -1.0F) << id;
    }
}

TEST(SpeakerDescription, AnIdOutsideTheTableIsUndefinedAndKept) {
    for (const int id :
         {0, 22, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        expectSpeaker(SpeakerDescription(id), {id, "N/A", "Undefined", 0, 0, 0});
    }
}

TEST(ChannelLayout, OneToTenChannelsHaveTheirCustomarySpeakers) {
    const std::vector<std::vector<int>> expected = {
        {1},
        {2, 3},
        {2, 3, 4},
        {2, 3, 6, 7},
        {2, 3, 4, 6, 7},
        {2, 3, 4, 5, 6, 7},
        {2, 3, 4, 6, 7, 11, 12},
        {2, 3, 4, 5, 6, 7, 11, 12},
        {2, 3, 4, 6, 7, 11, 12, 20, 21},
        {2, 3, 4, 5, 6, 7, 11, 12, 20, 21},
    };
    for (int count = 1; count <= 10; ++count) {
        const ChannelLayout layout = ChannelLayout::forChannelCount(count);
        EXPECT_EQ(layout.speakerIds, expected[static_cast<std::size_t>(count) - 1]);
        EXPECT_EQ(layout.channelCount(), count);
    }
}

TEST(ChannelLayout, EachChannelGetsTheDescriptionOfItsId) {
    const ChannelLayout layout = ChannelLayout::forChannelCount(6);
    ASSERT_EQ(layout.speakers.size(), 6U);
    for (std::size_t c = 0; c < 6; ++c) {
        EXPECT_EQ(layout.speakers[c]->id, layout.speakerIds[c]);
    }
    EXPECT_EQ(layout.speakers[3]->shortName, "LFE");
}

TEST(ChannelLayout, ElevenChannelsAreUndefined) {
    const ChannelLayout layout = ChannelLayout::forChannelCount(11);
    EXPECT_EQ(layout.speakerIds, std::vector<int>(11, 0));
    ASSERT_EQ(layout.speakers.size(), 11U);
    EXPECT_EQ(layout.speakers[10]->name, "Undefined");
}

TEST(ChannelLayout, NoChannelsLeaveBothListsEmpty) {
    const ChannelLayout layout = ChannelLayout::forChannelCount(0);
    EXPECT_TRUE(layout.speakerIds.empty());
    EXPECT_TRUE(layout.speakers.empty());
}

TEST(ChannelLayout, ANegativeCountIsALengthError) {
    try {
        ChannelLayout::forChannelCount(-1);
        FAIL() << "a negative count was accepted";
    } catch (const std::length_error& error) {
        EXPECT_STREQ(error.what(), "vector too long");
    }
}

TEST(ChannelLayout, IsConfiguredOnceItHasChannelsAndARate) {
    ChannelLayout layout = ChannelLayout::forChannelCount(2);
    EXPECT_EQ(layout.sampleRate, 0.0);
    EXPECT_FALSE(layout.isConfigured());
    layout.sampleRate = -48000.0;
    EXPECT_FALSE(layout.isConfigured());
    layout.sampleRate = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(layout.isConfigured());
    layout.sampleRate = 48000.0;
    EXPECT_TRUE(layout.isConfigured());
    layout.speakerIds.clear();
    EXPECT_FALSE(layout.isConfigured());
}

}  // namespace
}  // namespace vorun
