#pragma once

namespace vorun::restore {

/**
 * From here on Ctrl-C, a hang-up and a request to end are remembered instead of killing the
 * program, so that it can clean up; and a file that grows beyond its limit is an error of the
 * write.
 */
void catchInterruptions();

/** @throws HostError interrupted, once an interruption has come. */
void checkInterruption();

}  // namespace vorun::restore
