#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <utility>

#include "neural/GraphState.h"
#include "neural/Tensor.h"

namespace vorun {

/**
 * Frames that wait inside a layer, oldest first. All queues of a model draw on one budget, since a
 * graph whose branches run at different rates lets them grow for as long as the stream lasts.
 */
template <class T>
class FrameQueue {
  public:
    explicit FrameQueue(std::shared_ptr<GraphState> graph) : graph_(std::move(graph)) {}
    ~FrameQueue() { Clear(); }
    FrameQueue(const FrameQueue&) = delete;
    FrameQueue& operator=(const FrameQueue&) = delete;

    /** Shares the tensor's storage. Throws std::length_error "list too long" and keeps what it had.
     */
    void Push(const Tensor<T>& tensor) {
        graph_->addWaiting(Cost(tensor));
        tensors_.push_back(tensor);
    }
    /** The oldest, which leaves the queue; there must be one. */
    Tensor<T> Pop() {
        Tensor<T> oldest = std::move(tensors_.front());
        tensors_.pop_front();
        graph_->removeWaiting(Cost(oldest));
        return oldest;
    }
    void Clear() {
        while (!tensors_.empty()) {
            Pop();
        }
    }

    bool empty() const { return tensors_.empty(); }
    std::size_t size() const { return tensors_.size(); }

  private:
    /** A frame without elements still takes a node of the list. */
    static std::int64_t Cost(const Tensor<T>& tensor) {
        constexpr std::int64_t nodeCost = 32;
        return nodeCost + tensor.volume();
    }

    std::shared_ptr<GraphState> graph_;
    std::list<Tensor<T>> tensors_;
};

}  // namespace vorun
