// vorun-restore: a recording goes in, a restored one of the same shape comes out.
#include <cstdio>
#include <exception>
#include <optional>

#include "restore/AudioInput.h"
#include "restore/AudioOutput.h"
#include "restore/BusMix.h"
#include "restore/DefaultModel.h"
#include "restore/HostError.h"
#include "restore/Interruption.h"
#include "restore/Options.h"
#include "restore/Processor.h"
#include "restore/Progress.h"
#include "restore/Reports.h"
#include "restore/Restoration.h"
#include "restore/StandardStreams.h"

namespace vorun::restore {
namespace {

void tell(const std::string& text) {
    std::fprintf(stderr, "vorun-restore: %s\n", text.c_str());
}

void applyMix(Processor& processor, const MixRequest& request) {
    const BusMix mix = mixFor(processor.busNames(), request);
    for (std::size_t bus = 0; bus < mix.gains.size(); ++bus) {
        processor.setBusGain(bus, mix.gains[bus]);
        processor.setBusSensitivity(bus, mix.sensitivities[bus]);
    }
}

/** Answers --list-buses and --info, which need no audio. */
void describeModel(const Options& options, const std::string& modelPath) {
    const VorunModelInfo model = readModelInfo(modelPath);
    double sampleRate = model.sampleRate;
    std::int32_t channels = model.inputChannels;
    if (!options.input.empty()) {
        const AudioInput input(options.input);
        sampleRate = input.shape().sampleRate;
        channels = input.shape().channels;
    }
    const Processor processor(modelPath, channels, sampleRate);
    if (options.info) {
        printModel(modelPath, model, processor, sampleRate);
    }
    if (options.listBuses) {
        printBuses(processor.busNames());
    }
}

void restore(const Options& options, const std::string& modelPath) {
    AudioInput input(options.input);
    if (isSameFile(options.input, options.output)) {
        throw HostError(ExitStatus::sameFile, "INPUT and OUTPUT are the same file");
    }
    const StreamShape shape = input.shape();
    const int wishedSubtype =
        options.sampleFormat ? subtypeOf(*options.sampleFormat) : shape.format & SF_FORMAT_SUBMASK;
    const int format = outputFormat(options.output, shape, wishedSubtype);
    Processor processor(modelPath, shape.channels, shape.sampleRate);
    applyMix(processor, options.mix);

    catchInterruptions();
    AudioOutput output(options.output, format, shape);
    output.copyTags(input);
    RunFigures figures;
    {
        Progress progress(shape.frames, shape.sampleRate);
        Restoration restoration(input, output, processor, progress, options.blockSamples);
        restoration.run();
        output.finish();
        figures.samples = restoration.samples();
        figures.elapsedSeconds = progress.elapsedSeconds();
    }
    figures.output = options.output;
    figures.sampleRate = shape.sampleRate;
    figures.latency = processor.latency();
    figures.clippedSamples = output.clippedSamples();
    figures.nonFiniteSamples = input.nonFiniteSamples();
    figures.wishedSubtype = wishedSubtype;
    figures.writtenSubtype = format & SF_FORMAT_SUBMASK;
    const std::string warning = input.earlyEnd();
    if (!warning.empty()) {
        tell(warning);
    }
    printRun(figures);
}

void runOptions(int argc, const char* const* argv) {
    const std::optional<Options> options = parseOptions(argc, argv);
    if (!options) {
        return;
    }
    const std::string model = options->models.empty() ? defaultModel() : options->models.front();
    if (options->listBuses || options->info) {
        describeModel(*options, model);
    } else {
        restore(*options, model);
    }
}

ExitStatus fail(ExitStatus status, const char* text) {
    tell(text);
    return status;
}

ExitStatus runAndTell(int argc, const char* const* argv) {
    prepareStandardStreams();
    try {
        runOptions(argc, argv);
        checkPrinted();
        return ExitStatus::success;
    } catch (const HostError& error) {
        return fail(error.status(), error.what());
    } catch (const std::bad_alloc&) {
        return fail(ExitStatus::engineFailed, "out of memory");
    } catch (const std::exception& error) {
        const HostError oneLine(ExitStatus::engineFailed,
                                std::string("the engine failed: ") + error.what());
        return fail(oneLine.status(), oneLine.what());
    }
}

}  // namespace
}  // namespace vorun::restore

int main(int argc, char** argv) {
    return static_cast<int>(vorun::restore::runAndTell(argc, argv));
}
