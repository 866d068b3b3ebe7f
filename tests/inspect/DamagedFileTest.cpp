#include <gtest/gtest.h>

#include "inspect/DotReport.h"
#include "inspect/InspectTools.h"
#include "inspect/TextReport.h"

/** Whatever stands in a file, it is described or refused. */
namespace vorun::test {
namespace {

using writer::ModelHeader;
using writer::ModelWriter;

std::vector<Bytes> soundFiles() {
    ModelHeader old = headerOf(4, 2);
    old.tag = "ZUTo.model";
    old.version = 4100;
    ModelHeader split = headerOf(0, 2);
    split.inputFormat = 2;
    split.outputFormat = 2;
    split.complexInputBins = 1;
    split.magnitudeInputBins = 0;
    return {ModelWriter().bytes(), everyLayer().bytes(), everyLayer(old).bytes(),
            everyLayer(split).bytes()};
}

/** Describes or refuses, in every form. */
void exercise(const Bytes& bytes) {
    const inspect::Inspection inspection = inspected(bytes);
    ASSERT_NE(inspection.description.has_value(), !inspection.refusal.empty());
    if (inspection.description) {
        ASSERT_FALSE(textReport("m", *inspection.description).empty());
        ASSERT_FALSE(dotReport(*inspection.description).empty());
    }
}

/** The decoder alone, with no engine that has refused the file before. */
void followAnything(const Bytes& bytes) {
    try {
        inspect::Description description;
        description.contents = decoded(bytes);
        description.graph = followGraph(description.contents);
        description.framing = framingOf(description.contents, 0);
        ASSERT_FALSE(textReport("m", description).empty());
        ASSERT_FALSE(dotReport(description).empty());
    } catch (const std::exception&) {
        return;
    }
}

TEST(DamagedFile, EveryByteMayBeWrong) {
    for (const Bytes& sound : soundFiles()) {
        for (std::size_t i = 0; i < sound.size(); ++i) {
            for (const int value : {0x00, 0x7F, 0x80, 0xFF, sound[i] ^ 0x01}) {
                Bytes damaged = sound;
                damaged[i] = static_cast<std::uint8_t>(value);
                exercise(damaged);
                followAnything(damaged);
            }
        }
    }
}

TEST(DamagedFile, EveryLengthMayBeCut) {
    for (const Bytes& sound : soundFiles()) {
        for (std::size_t size = 0; size < sound.size(); ++size) {
            const Bytes cut(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(size));
            const inspect::Inspection inspection = inspected(cut);
            ASSERT_FALSE(inspection.description.has_value()) << size;
            ASSERT_FALSE(inspection.refusal.empty()) << size;
        }
    }
}

}  // namespace
}  // namespace vorun::test
