#include "inspect/Inspection.h"

#include <exception>

#include "inspect/FileDecoder.h"
#include "neural/NeuralModel.h"

namespace vorun::inspect {
namespace {

/** The engine's texts for what its containers would say mean little to a person. */
std::string inPlainWords(const LoadReport& report, const std::string& decoderReason) {
    if (report.reason == "invalid map<K, T> key" && !decoderReason.empty()) {
        return decoderReason;
    }
    if (report.reason == "vector too long") {
        return "a length or a count is below 0";
    }
    if (report.reason == "std::bad_alloc") {
        return "out of memory";
    }
    return report.reason;
}

std::string refusalText(const LoadReport& report, const FileDecoder& decoder,
                        const std::string& decoderReason) {
    // Where both readers stop, the second one knows better where that is.
    const std::string place =
        decoderReason.empty() ? decoder.placeOf(report.byte) : decoder.lastPlace();
    if (place == FileDecoder::tagPlace) {
        return "refused at byte " + std::to_string(report.byte) + ": not a model file";
    }
    return "refused at byte " + std::to_string(report.byte) + ", in " + place + ": " +
           inPlainWords(report, decoderReason);
}

void describe(const FileDecoder& decoder, std::int32_t lookaheadFrames, Description& description) {
    description.contents = decoder.contents();
    description.lookaheadFrames = lookaheadFrames;
    description.framing = framingOf(description.contents, lookaheadFrames);
    description.graph = followGraph(description.contents);
    description.warnings = headerWarnings(description.contents);
    description.warnings.insert(description.warnings.end(), description.graph.warnings.begin(),
                                description.graph.warnings.end());
}

/** The text of what stopped the decoder; empty if it got to the end. */
std::string decodeAll(FileDecoder& decoder) {
    try {
        decoder.decode();
        return "";
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

}  // namespace

Inspection inspect(const std::shared_ptr<BinaryInputStream>& stream) {
    LoadReport report;
    std::int32_t lookaheadFrames = 0;
    bool isLoaded = false;
    {
        // Gone before the file is read again, so that the weights are in memory once.
        NeuralModel<float> model;
        isLoaded = model.Load(stream, report);
        lookaheadFrames = model.latency;
    }
    FileDecoder decoder(*stream);
    const std::string decoderReason = decodeAll(decoder);
    Inspection inspection;
    if (!isLoaded) {
        inspection.refusal = refusalText(report, decoder, decoderReason);
    } else if (!decoderReason.empty()) {
        inspection.refusal = "changed while it was read: " + decoderReason;
    } else {
        describe(decoder, lookaheadFrames, inspection.description.emplace());
    }
    return inspection;
}

}  // namespace vorun::inspect
