#include "TransformPeers.h"

namespace vorun::benchmarks {

std::vector<TransformPeerKind> transformPeers() {
    std::vector<TransformPeerKind> peers;
#ifdef VORUN_HAVE_FFTW3F
    peers.push_back(fftwTransform());
#endif
#ifdef VORUN_HAVE_KISSFFT
    peers.push_back(kissFftTransform());
#endif
    return peers;
}

}  // namespace vorun::benchmarks
