#include "restore/DefaultModel.h"

#include <filesystem>
#include <system_error>

#include "restore/HostError.h"

namespace vorun::restore {

std::string defaultModel() {
    namespace fs = std::filesystem;
    const char* const name = "speech.vorun";
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    for (const char* const folder : {VORUN_INSTALLED_MODELS, VORUN_BUILT_MODELS}) {
        const fs::path model = (program.parent_path() / folder / name).lexically_normal();
        if (fs::exists(model, error)) {
            return model.string();
        }
    }
    throw HostError(ExitStatus::modelRefused, std::string("the model ") + name +
                                                  " is not where it ships; give one with --model");
}

}  // namespace vorun::restore
