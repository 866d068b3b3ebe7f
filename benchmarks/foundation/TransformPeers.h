#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vorun::benchmarks {

/** The real transform of another library, of 2^order samples, between arrays of its own. */
class TransformPeer {
  public:
    TransformPeer() = default;
    TransformPeer(const TransformPeer&) = delete;
    TransformPeer& operator=(const TransformPeer&) = delete;
    virtual ~TransformPeer() = default;

    virtual void forward() = 0;
    virtual void inverse() = 0;

    /** Repeated inverses may overwrite their input with ever larger numbers. */
    virtual void refill() = 0;
};

struct TransformPeerKind {
    std::string name;
    /** Beyond, there is nothing to learn from it that would be worth the wait. */
    std::int32_t largestOrder;
    /** With the plans that run fastest, however long they take to find. */
    std::function<std::unique_ptr<TransformPeer>(std::int32_t order)> make;
    /** What makes and drops the plans of both directions that are the quickest to find. */
    std::function<std::function<void()>(std::int32_t order)> setUp;
};

/** Those whose packages were installed when the build was configured. */
std::vector<TransformPeerKind> transformPeers();

TransformPeerKind fftwTransform();
TransformPeerKind kissFftTransform();

}  // namespace vorun::benchmarks
