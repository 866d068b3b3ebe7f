#pragma once

namespace vorun::restore {

/**
 * Makes the standard streams safe to use: a reader that has gone away fails the write instead of
 * killing the program, and a stream that the caller closed does not give its number to a file that
 * is opened later. First thing in the program.
 */
void prepareStandardStreams();

/** Sends what was printed. @throws HostError writeFailed if any of it was lost. */
void checkPrinted();

}  // namespace vorun::restore
