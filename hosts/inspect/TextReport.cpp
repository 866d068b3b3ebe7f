#include "inspect/TextReport.h"

#include "inspect/LayerTable.h"
#include "inspect/Numbers.h"
#include "inspect/Printable.h"
#include "restore/NumberText.h"

namespace vorun::inspect {
namespace {

using restore::fixedText;

std::string line(const std::string& title, const std::string& text) {
    return padded(title, 13) + text + "\n";
}

std::string inMilliseconds(const FileContents& contents, std::int64_t samples) {
    return fixedText(milliseconds(contents, samples), 1) + " ms";
}

std::string samplesText(const FileContents& contents, std::int64_t samples) {
    return std::to_string(samples) + " (" + inMilliseconds(contents, samples) + ")";
}

std::string formatText(const FileContents& contents) {
    std::string text = "version " + std::to_string(contents.version) + ", tag " + contents.tag +
                       ", " + std::to_string(contents.fileBytes) + " bytes";
    const std::int64_t surplus = contents.fileBytes - contents.readBytes;
    return surplus > 0 ? text + ", of which the last " + std::to_string(surplus) + " are not read"
                       : text;
}

std::string inputText(const FileContents& contents) {
    std::string text = std::to_string(contents.featureRows()) + " rows x " +
                       counted(contents.inputChannels, "channel") + ": ";
    if (contents.complexInputBins != 0) {
        text += std::to_string(contents.complexInputBins) + " complex bins of four rows each, " +
                std::to_string(contents.inputBins - contents.complexInputBins) + " magnitudes";
    } else {
        text += std::to_string(contents.inputBins) + " magnitudes";
    }
    return text;
}

std::string outputText(const FileContents& contents) {
    const bool givesMasks = contents.pipelineMode == 0;
    return counted(contents.maskCount, givesMasks ? "mask" : "estimate") + " x " +
           counted(contents.outputChannels, "channel") +
           (givesMasks ? ", multiplied with the spectrum" : " of a bus's spectrum") +
           " (pipeline mode " + std::to_string(contents.pipelineMode) + ")";
}

std::string busesText(const FileContents& contents) {
    std::string text;
    for (const std::string& name : contents.busNames) {
        text += (text.empty() ? "" : ", ") + listed(name);
    }
    return text.empty() ? "none" : text;
}

std::string framingText(const Description& description) {
    const FileContents& contents = description.contents;
    return "transform " + std::to_string(contents.fftSize) + ", window " +
           samplesText(contents, contents.windowSize) + ", hop " +
           samplesText(contents, contents.hopSize) +
           (description.framing.isLowLatency ? ", low-latency windows" : ", symmetric windows");
}

std::string latencyText(const Description& description) {
    const Framing& framing = description.framing;
    return std::to_string(framing.latencySamples) + " samples, " +
           inMilliseconds(description.contents, framing.latencySamples) + ": " +
           counted(framing.hops, "hop") + " of framing, " +
           counted(description.lookaheadFrames, "frame") + " of look-ahead";
}

std::string costText(const Description& description) {
    const FileContents& contents = description.contents;
    const double perFrame = description.graph.multiplyAdds;
    std::string text = (description.graph.isComplete ? "" : "at least ") +
                       shortNumber(perFrame, 1) + " multiply-adds a frame";
    if (milliseconds(contents, contents.hopSize) > 0.0) {
        text += ", " + roundedText(perFrame * 1000.0 / milliseconds(contents, contents.hopSize)) +
                " a second";
    }
    return text;
}

std::string memoryText(const GraphFlow& graph) {
    return (graph.isComplete ? "" : "at least ") + bytesText(graph.weightBytes) + " of weights, " +
           bytesText(graph.historyBytes) + " of histories, " + bytesText(graph.outputBytes) +
           " of outputs";
}

}  // namespace

std::string textReport(const std::string& path, const Description& description) {
    const FileContents& contents = description.contents;
    std::string text;
    text += line("model", printable(path));
    text += line("format", formatText(contents));
    text += line("id", std::to_string(contents.modelId));
    text += line("rate", shortNumber(contents.sampleRate, 3) + " Hz");
    text += line("input", inputText(contents));
    text += line("output", outputText(contents));
    text += line("buses", busesText(contents));
    text += line("framing", framingText(description));
    text += line("latency", latencyText(description));
    text += line("cost", costText(description));
    text += line("memory", memoryText(description.graph));
    text += line("layers", std::to_string(contents.layers.size()) + ", and the output gets " +
                               shapeText(description.graph.output) + " from " +
                               listed(contents.outputSource));
    if (!contents.layers.empty()) {
        text += "\n" + layerTable(description);
    }
    if (!description.warnings.empty()) {
        text += "\n";
    }
    for (const std::string& warning : description.warnings) {
        text += line("warning", warning);
    }
    return text;
}

}  // namespace vorun::inspect
