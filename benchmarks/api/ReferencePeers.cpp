#include "ReferencePeers.h"

namespace vorun::benchmarks {

std::vector<ReferencePeer> referencePeers() {
    std::vector<ReferencePeer> peers;
#ifdef VORUN_HAVE_XNNPACK
    peers.push_back({"xnnpack", makeXnnpackNetwork});
#endif
#ifdef VORUN_HAVE_ONEDNN
    peers.push_back({"onednn", makeOneDnnNetwork});
#endif
#ifdef VORUN_HAVE_OPENBLAS
    peers.push_back({"openblas", makeOpenBlasNetwork});
#endif
    return peers;
}

}  // namespace vorun::benchmarks
