#include "restore/Reports.h"

#include <cstdio>

#include "restore/FileFormat.h"
#include "restore/NumberText.h"

namespace vorun::restore {
namespace {

/** printf follows the locale in numbers; these lines do not. */
std::string latencyText(std::int32_t samples, double sampleRate) {
    return std::to_string(samples) + " samples (" +
           fixedText(1000.0 * static_cast<double>(samples) / sampleRate, 1) + " ms)";
}

void printLine(const std::string& text) {
    std::printf("%s\n", text.c_str());
}

bool isSameSampleFormat(int first, int second) {
    // Signed and unsigned bytes hold the same samples.
    return first == second || (integerBits(first) == 8 && integerBits(second) == 8);
}

}  // namespace

void printBuses(const std::vector<std::string>& names) {
    for (std::size_t bus = 0; bus < names.size(); ++bus) {
        printLine(std::to_string(bus) + "\t" + names[bus]);
    }
}

void printModel(const std::string& path, const VorunModelInfo& model, const Processor& processor,
                double sampleRate) {
    printLine("model        " + path);
    printLine("rate         " + fixedText(model.sampleRate, 0) + " Hz");
    printLine("channels     " + std::to_string(model.inputChannels));
    printLine("transform    " + std::to_string(model.fftSize) + " samples");
    printLine("window       " + std::to_string(model.windowSize) + " samples");
    printLine("hop          " + std::to_string(model.hopSize) + " samples");
    printLine("look-ahead   " + std::to_string(model.latency) + " frames");
    printLine("latency      " + latencyText(processor.latency(), sampleRate) + " at " +
              fixedText(sampleRate, 0) + " Hz");
    std::string buses;
    for (const std::string& name : processor.busNames()) {
        buses += (buses.empty() ? "" : ", ") + name;
    }
    printLine("buses        " + buses);
}

void printRun(const RunFigures& figures) {
    const double seconds = static_cast<double>(figures.samples) / figures.sampleRate;
    const double factor = seconds > 0.0 ? figures.elapsedSeconds / seconds : 0.0;
    const double speed = factor > 0.0 ? 1.0 / factor : 0.0;
    printLine("output            " + figures.output);
    printLine("duration          " + fixedText(seconds, 3) + " s, " +
              std::to_string(figures.samples) + " samples");
    printLine("real-time factor  " + fixedText(factor, 4) + " (" + fixedText(speed, 1) +
              " x real time)");
    printLine("latency           " + latencyText(figures.latency, figures.sampleRate));
    if (!isSameSampleFormat(figures.wishedSubtype, figures.writtenSubtype)) {
        printLine("sample format     " + subtypeName(figures.writtenSubtype) +
                  ", because the file cannot hold " + subtypeName(figures.wishedSubtype));
    }
    if (figures.clippedSamples > 0) {
        printLine("clipped           " + std::to_string(figures.clippedSamples) +
                  " samples beyond full scale");
    }
    if (figures.nonFiniteSamples > 0) {
        printLine("not finite        " + std::to_string(figures.nonFiniteSamples) +
                  " samples of the input, taken as 0");
    }
}

}  // namespace vorun::restore
