#pragma once

#include <vector>

#include "api/ApiProcessor.h"
#include "api/HostFrame.h"
#include "api/Samples.h"

namespace vorun::apitest {

/** How a host cuts its stream. Both lists are taken round and round. */
struct Partition {
    /** Lengths of the pushed blocks, 0 allowed. */
    std::vector<int> pushes;
    /** Most samples of a pull after each push; empty pulls all there is. */
    std::vector<int> pulls;
    Layout layout = Layout::planar;
};

/**
 * Pushes all of `audio` and pulls as the partition says, then pulls the rest. After every push the
 * pending count is compared with what `frame` says.
 */
Planar runStream(ApiProcessor& processor, const Planar& audio, const Partition& partition,
                 const HostFrame& frame);

/** All in one block. */
Planar runAtOnce(ApiProcessor& processor, const Planar& audio);

/** Random block lengths from 0 to `longest`. */
std::vector<int> randomLengths(int count, int longest, unsigned seed);

}  // namespace vorun::apitest
