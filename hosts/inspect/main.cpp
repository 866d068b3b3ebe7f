// vorun-inspect: tells what a model file holds, or where and why the engine refuses it.
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "foundation/FileStream.h"
#include "inspect/DotReport.h"
#include "inspect/Inspection.h"
#include "inspect/Options.h"
#include "inspect/Printable.h"
#include "inspect/TextReport.h"
#include "restore/HostError.h"
#include "restore/ReadableFile.h"
#include "restore/StandardStreams.h"

namespace vorun::inspect {
namespace {

using restore::ExitStatus;
using restore::HostError;

/** What vorun-restore calls a failure of the engine is here the engine's refusal. */
constexpr ExitStatus refused = ExitStatus::engineFailed;

void tell(const std::string& text) {
    std::fprintf(stderr, "vorun-inspect: %s\n", text.c_str());
}

std::shared_ptr<FileStream> openModel(const std::string& path) {
    const std::string failure = "cannot read '" + printable(path) + "'";
    restore::checkReadable(path, failure, ExitStatus::cannotReadInput);
    constexpr std::int32_t readAccess = 0;
    constexpr std::int32_t mustExist = 0;
    auto stream = std::make_shared<FileStream>();
    if (!stream->Open(path, readAccess, mustExist)) {
        throw HostError(ExitStatus::cannotReadInput, failure);
    }
    return stream;
}

void print(const Options& options, const Description& description) {
    if (!options.dot) {
        std::fputs(textReport(options.model, description).c_str(), stdout);
        return;
    }
    std::fputs(dotReport(description).c_str(), stdout);
    for (const std::string& warning : description.warnings) {
        tell("warning: " + warning);
    }
}

void runOptions(int argc, const char* const* argv) {
    const std::optional<Options> options = parseOptions(argc, argv);
    if (!options) {
        return;
    }
    const Inspection inspection = inspect(openModel(options->model));
    if (!inspection.description) {
        throw HostError(refused, "'" + printable(options->model) + "' is " + inspection.refusal);
    }
    print(*options, *inspection.description);
}

ExitStatus fail(ExitStatus status, const char* text) {
    tell(text);
    return status;
}

ExitStatus runAndTell(int argc, const char* const* argv) {
    restore::prepareStandardStreams();
    try {
        runOptions(argc, argv);
        restore::checkPrinted();
        return ExitStatus::success;
    } catch (const HostError& error) {
        return fail(error.status(), error.what());
    } catch (const std::bad_alloc&) {
        return fail(refused, "out of memory");
    } catch (const std::exception& error) {
        return fail(refused, error.what());
    }
}

}  // namespace
}  // namespace vorun::inspect

int main(int argc, char** argv) {
    return static_cast<int>(vorun::inspect::runAndTell(argc, argv));
}
