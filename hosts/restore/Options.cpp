#include "restore/Options.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <sndfile.h>

#include "restore/HostError.h"

namespace vorun::restore {
namespace {

constexpr float lowestDb = -96.0F;
constexpr float highestGain = 100.0F;
constexpr float sensitivityLimit = 100.0F;
constexpr float highestBlock = 1048576.0F;

/** Values as they were typed: the numbers are read by our own rules, with our own messages. */
struct TypedValues {
    std::string residualDb;
    std::string sensitivity;
    std::vector<std::string> gains;
    std::vector<std::string> sensitivities;
    std::string soloBus;
    std::string sampleFormat;
    std::string block;
};

const char* const footer = R"(The mix:
  Every bus starts at a gain of 1 but for the residual, the last bus, which is
  what the model takes away: it starts at 0. Then, whatever the order on the
  command line, --residual-db sets the residual, --gain any bus, and --solo
  silences all others. A bus that is played solo has the gain that --residual-db
  or --gain gave it, or 1.

The input:
  A WAV, RF64 or AIFF file that ends before its header says so is restored as
  far as it goes, with a warning on stderr that begins "the file ends early".

The output:
  The suffix selects the container: wav, rf64, w64, aiff, aifc, au, snd, caf,
  flac, ogg, oga, opus, mp3. Length, rate, channels, sample format and tags are
  those of the input; where the container cannot hold the sample format, the
  nearest that it can is taken and named at the end.
  OUTPUT appears, or is replaced, only when it is complete.

Exit status:
  0    done
  1    the engine failed
  2    the command line is wrong, or a value is out of range
  3    INPUT is missing or cannot be read
  4    INPUT is not audio, or is damaged
  5    the model is missing or refused
  6    the model has no such bus
  7    INPUT and OUTPUT are the same file
  8    OUTPUT has an unknown suffix, or cannot be created
  9    OUTPUT or the standard output cannot be written, as when the disk is full
  10   several models were given
  130  interrupted
)";

void describe(CLI::App& app, Options& options, TypedValues& typed) {
    app.add_option("INPUT", options.input,
                   "Recording to restore, in any format that\nlibsndfile reads");
    app.add_option("OUTPUT", options.output, "File to write");
    app.add_option("--model", options.models, "Model file; the one that ships if not given")
        ->type_name("FILE")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--residual-db", typed.residualDb,
                   "Level of the removed part in the output,\n-96 to 0; silent if not given")
        ->type_name("DB");
    app.add_option("--sensitivity", typed.sensitivity,
                   "How decisive the first bus is, -100\n(passes more) to 100 (removes more)")
        ->type_name("VALUE");
    app.add_option("--gain", typed.gains, "Gain of a bus, 0 to 100; repeatable")
        ->type_name("BUS=LINEAR")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--sensitivity-of", typed.sensitivities,
                   "Sensitivity of a bus, -100 to 100; repeatable")
        ->type_name("BUS=VALUE")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--solo", typed.soloBus, "Only this bus, by name or index")->type_name("BUS");
    app.add_option("--sample-format", typed.sampleFormat,
                   "pcm8, pcm16, pcm24, pcm32, float or double;\nthe input's if not given")
        ->type_name("FORMAT");
    app.add_option("--block", typed.block,
                   "Samples for each push, 1 to 1048576;\n4096 if not given")
        ->type_name("N");
    app.add_flag("--list-buses", options.listBuses, "Print the buses of the model and stop");
    app.add_flag("--info", options.info,
                 "Print what the model is, at the rate of\nINPUT if one is given, and stop");
    app.set_version_flag(
        "--version", std::string("vorun-restore " VORUN_VERSION " (") + sf_version_string() + ")");
    app.footer(footer);
}

std::optional<float> readOptional(const std::string& option, const std::string& text, float lowest,
                                  float highest, bool given) {
    return given ? std::optional(parseInRange(option, text, lowest, highest)) : std::nullopt;
}

void readValues(const CLI::App& app, const TypedValues& typed, Options& options) {
    MixRequest& mix = options.mix;
    mix.residualDb = readOptional("--residual-db", typed.residualDb, lowestDb, 0.0F,
                                  app.count("--residual-db") > 0);
    mix.sensitivity = readOptional("--sensitivity", typed.sensitivity, -sensitivityLimit,
                                   sensitivityLimit, app.count("--sensitivity") > 0);
    for (const std::string& text : typed.gains) {
        mix.gains.push_back(parseBusValue("--gain", text, 0.0F, highestGain));
    }
    for (const std::string& text : typed.sensitivities) {
        mix.sensitivities.push_back(
            parseBusValue("--sensitivity-of", text, -sensitivityLimit, sensitivityLimit));
    }
    if (app.count("--solo") > 0) {
        mix.soloBus = typed.soloBus;
    }
    if (app.count("--sample-format") > 0) {
        options.sampleFormat = sampleFormatOfName(typed.sampleFormat);
    }
    if (app.count("--block") > 0) {
        const float inRange = parseInRange("--block", typed.block, 1.0F, highestBlock);
        const std::optional<int> whole = parseIndex(typed.block);
        if (!whole) {
            throw HostError(ExitStatus::badUsage,
                            "--block takes a whole number, not " + fixedText(double{inRange}, 3));
        }
        options.blockSamples = *whole;
    }
}

void checkFiles(const Options& options) {
    if (options.models.size() > 1) {
        throw HostError(ExitStatus::severalModels,
                        "the engine gives no audio from several model files; give one --model");
    }
    if (options.listBuses || options.info) {
        // --info looks at the rate of an input; nothing else is of use to a question.
        const std::string& surplus = options.info ? options.output : options.input;
        if (!surplus.empty()) {
            const std::string option = options.info ? "--info" : "--list-buses";
            throw HostError(ExitStatus::badUsage,
                            "'" + surplus + "' has no meaning with " + option + "; see --help");
        }
        return;
    }
    if (options.input.empty()) {
        throw HostError(ExitStatus::badUsage, "INPUT and OUTPUT are missing; see --help");
    }
    if (options.output.empty()) {
        throw HostError(ExitStatus::badUsage, "OUTPUT is missing; see --help");
    }
}

/** The parser counts what it "received"; a user wants to know which option is there twice. */
std::string textOf(const CLI::App& app, const CLI::ParseError& error) {
    for (const CLI::Option* const option : app.get_options()) {
        const bool takesOne = option->get_multi_option_policy() == CLI::MultiOptionPolicy::Throw;
        if (takesOne && option->count() > 1) {
            return option->get_name() + " is given more than once";
        }
    }
    return error.what();
}

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv) {
    Options options;
    TypedValues typed;
    CLI::App app("Restores a recording with a model of the Vorun engine.", "vorun-restore");
    describe(app, options, typed);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::fputs(app.help().c_str(), stdout);
        return std::nullopt;
    } catch (const CLI::CallForVersion& version) {
        std::printf("%s\n", version.what());
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw HostError(ExitStatus::badUsage, textOf(app, error) + "; see --help");
    }
    readValues(app, typed, options);
    checkFiles(options);
    return options;
}

}  // namespace vorun::restore
