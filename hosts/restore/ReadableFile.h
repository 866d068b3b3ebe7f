#pragma once

#include <string>

#include "restore/HostError.h"

namespace vorun::restore {

/**
 * Makes sure that a path leads to a file that can be read; it never waits, whatever the path names.
 *
 * @param failure what cannot be done with the file, as in "cannot read 'in.wav'"; the reason
 * follows.
 * @throws HostError with that status.
 */
void checkReadable(const std::string& path, const std::string& failure, ExitStatus status);

}  // namespace vorun::restore
