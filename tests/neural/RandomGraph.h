#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/SequenceModel.h"

namespace vorun::test {

/** A model, and streams to run it on. */
struct RandomGraph {
    sequence::Model model;
    /** One stream for each stretch between two resets; the last is the longest. */
    std::vector<sequence::Frames> streams;
    /** Whether every layer that several frames a call can reach may be fed so. */
    bool takesGroups = true;
};

/**
 * Chains, forks, joins of branches with different delays, encoders with decoders and skip
 * connections, all from the seed. Every layer is kept only if it gives frames enough, of a level
 * that is neither tiny nor large, within a bound on the error that leaves the comparison sharp; so
 * a graph never overflows and never stays silent.
 */
RandomGraph randomGraph(std::uint32_t seed);

/** For the reader of a failure: each layer with its inputs and its type's number. */
std::string describe(const RandomGraph& graph);

/** Largest error bound of the frames as a part of their level, or of 0.02 where that is more. */
double relativeError(const sequence::Frames& frames);
/** Root of the mean square over all elements; 0 without any. */
double levelOf(const sequence::Frames& frames);

}  // namespace vorun::test
