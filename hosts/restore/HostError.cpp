#include "restore/HostError.h"

#include <algorithm>
#include <system_error>

namespace vorun::restore {
namespace {

std::string onOneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
}

}  // namespace

HostError::HostError(ExitStatus status, const std::string& text)
    : std::runtime_error(onOneLine(text)), status_(status) {}

std::string withReason(const std::string& text, int errorNumber) {
    return text + ": " + std::generic_category().message(errorNumber);
}

}  // namespace vorun::restore
