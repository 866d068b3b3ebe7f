#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "restore/BusMix.h"
#include "restore/HostError.h"

namespace vorun::restore {
namespace {

using testing::ElementsAre;
using testing::FloatEq;

const std::vector<std::string> stems = {"Voice", "Music", "Residual"};

TEST(BusMix, StartsWithAllBusesAtOneAndTheResidualSilent) {
    const BusMix mix = mixFor(stems, {});
    EXPECT_THAT(mix.gains, ElementsAre(1.0F, 1.0F, 0.0F));
    EXPECT_THAT(mix.sensitivities, ElementsAre(0.0F, 0.0F, 0.0F));
}

TEST(BusMix, ResidualLevelSetsTheLastBus) {
    MixRequest request;
    request.residualDb = -20.0F;
    EXPECT_THAT(mixFor(stems, request).gains, ElementsAre(1.0F, 1.0F, FloatEq(0.1F)));
}

TEST(BusMix, GainOverridesTheResidualLevelAndTheLastOfABusCounts) {
    MixRequest request;
    request.residualDb = -20.0F;
    request.gains = {{"Residual", 0.5F}, {"1", 2.0F}, {"Music", 3.0F}};
    EXPECT_THAT(mixFor(stems, request).gains, ElementsAre(1.0F, 3.0F, 0.5F));
}

TEST(BusMix, SoloSilencesAllOthersWhateverTheirGain) {
    MixRequest request;
    request.gains = {{"Voice", 2.0F}, {"Music", 0.5F}};
    request.soloBus = "Music";
    EXPECT_THAT(mixFor(stems, request).gains, ElementsAre(0.0F, 0.5F, 0.0F));
}

TEST(BusMix, SoloOfTheResidualIsAtOneUnlessItHasALevel) {
    MixRequest request;
    request.soloBus = "2";
    EXPECT_THAT(mixFor(stems, request).gains, ElementsAre(0.0F, 0.0F, 1.0F));
    request.residualDb = 0.0F;
    request.gains = {{"Residual", 0.25F}};
    EXPECT_THAT(mixFor(stems, request).gains, ElementsAre(0.0F, 0.0F, 0.25F));
}

TEST(BusMix, SensitivitiesGoToTheirBuses) {
    MixRequest request;
    request.sensitivity = 10.0F;
    request.sensitivities = {{"Residual", -30.0F}, {"1", 20.0F}};
    EXPECT_THAT(mixFor(stems, request).sensitivities, ElementsAre(10.0F, 20.0F, -30.0F));
}

TEST(BusMix, ANameComesBeforeAnIndex) {
    const std::vector<std::string> names = {"1", "0", "Residual"};
    EXPECT_EQ(findBus(names, "1"), 0U);
    EXPECT_EQ(findBus(names, "2"), 2U);
}

TEST(BusMix, UnknownBusNamesThoseThatThereAre) {
    for (const char* const bus : {"Drums", "3", "-1", "", "voice"}) {
        try {
            findBus(stems, bus);
            ADD_FAILURE() << "found '" << bus << "'";
        } catch (const HostError& error) {
            EXPECT_EQ(error.status(), ExitStatus::unknownBus);
            EXPECT_THAT(error.what(), testing::HasSubstr("'Music'"));
        }
    }
}

TEST(BusMix, BusesBeyondTheLiveValuesOfTheEngineCannotBeSet) {
    const std::vector<std::string> many(20, "Stem");
    MixRequest request;
    EXPECT_EQ(mixFor(many, request).gains.size(), 16U);
    request.gains = {{"16", 1.0F}};
    EXPECT_THROW(mixFor(many, request), HostError);
}

}  // namespace
}  // namespace vorun::restore
