#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "support/FrameRunner.h"
#include "support/PlainNetwork.h"

namespace vorun::benchmarks {

/**
 * Another library that runs a reference network on one thread. It keeps no history: the older rows
 * of each layer's input are those of `history`, which has just run the frame to be computed.
 */
struct ReferencePeer {
    std::string name;
    std::function<std::unique_ptr<FrameRunner>(const ReferenceNetwork& network,
                                               const PlainNetwork& history)>
        make;
};

/** Those whose packages were installed when the build was configured. */
std::vector<ReferencePeer> referencePeers();

std::unique_ptr<FrameRunner> makeXnnpackNetwork(const ReferenceNetwork& network,
                                                const PlainNetwork& history);
std::unique_ptr<FrameRunner> makeOneDnnNetwork(const ReferenceNetwork& network,
                                               const PlainNetwork& history);
std::unique_ptr<FrameRunner> makeOpenBlasNetwork(const ReferenceNetwork& network,
                                                 const PlainNetwork& history);

}  // namespace vorun::benchmarks
