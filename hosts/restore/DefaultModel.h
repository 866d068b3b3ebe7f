#pragma once

#include <string>

namespace vorun::restore {

/**
 * The model that ships with the program: beside the installed program, or in the build tree.
 *
 * @throws HostError modelRefused when neither is there.
 */
std::string defaultModel();

}  // namespace vorun::restore
