#include "inspect/Options.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "inspect/Printable.h"
#include "restore/HostError.h"

namespace vorun::inspect {
namespace {

using restore::ExitStatus;
using restore::HostError;

const char* const footer = R"(The columns:
  output         rows x channels of a frame; "at 1/2" is one frame for two of
                 the model's input
  multiply-adds  for one frame at the model's input, on average; products, sums
                 and quotients element by element count too; biases, clamps and
                 functions such as exp count nothing
  values         stored in the file, of one tensor after the other

What the model would stumble on when it runs is told in warnings, at the end
or, with --dot, on stderr.

Exit status:
  0  the engine takes the model
  1  the engine refuses the model; where and why is told on stderr
  2  the command line is wrong
  3  MODEL is missing or cannot be read
  9  the standard output cannot be written
)";

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv) {
    Options options;
    CLI::App app("Prints what a model of the Vorun engine holds.", "vorun-inspect");
    app.add_option("MODEL", options.model, "Model file");
    app.add_flag("--dot", options.dot, "Print the graph of the layers, in the DOT language");
    app.set_version_flag("--version", std::string("vorun-inspect " VORUN_VERSION));
    app.footer(footer);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::fputs(app.help().c_str(), stdout);
        return std::nullopt;
    } catch (const CLI::CallForVersion& version) {
        std::printf("%s\n", version.what());
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw HostError(ExitStatus::badUsage, printable(error.what()) + "; see --help");
    }
    if (options.model.empty()) {
        throw HostError(ExitStatus::badUsage, "MODEL is missing; see --help");
    }
    return options;
}

}  // namespace vorun::inspect
