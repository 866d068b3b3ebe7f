#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <utility>
#include <vector>

#include "neural/BaseLayer.h"
#include "neural/FrameQueue.h"

namespace vorun {

/**
 * The base of the layers with several inputs. Each input is cut into frames that wait in a queue of
 * their own; whenever every queue holds one, the oldest of each go to ProcessInputs() together.
 * Frames meet by age, never by time stamp: a branch that is behind holds the layer back.
 */
template <class T>
class BaseQueuedLayer : public BaseLayer<T> {
  public:
    struct InputQueue {
        InputQueue(std::shared_ptr<GraphState> graph, const BaseLayer<T>* feeder)
            : tensors(std::move(graph)), source(feeder) {}

        /** Frames [1, height, channels], oldest first. */
        FrameQueue<T> tensors;
        const BaseLayer<T>* source;
    };

    /**
     * Reads the header of a record with several inputs and joins the consumers of each layer that
     * it names, in order. Throws std::out_of_range if no earlier layer has such a name.
     */
    BaseQueuedLayer(LayerMap<T>& layers, ModelReader& reader);

    /**
     * Throws std::runtime_error for a source that feeds none of the queues, std::length_error "list
     * too long" when the partners of too many frames never come.
     */
    bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source) override;
    /** Drops every waiting frame. */
    void ResetState() override;

    /** One frame of every input, in the order of sources; the result is that of AddTensor(). */
    virtual bool ProcessInputs(const std::vector<Tensor<T>>& inputs,
                               const std::vector<BaseLayer<T>*>& sources) = 0;

    /** In the order of the record; not owned. */
    std::vector<BaseLayer<T>*> sources;
    std::list<InputQueue> inputQueues;

  private:
    InputQueue& FindQueue(const BaseLayer<T>* source);
    void EnqueueFrames(InputQueue& queue, const Tensor<T>& input);
    /** Sets of frames that are complete; 0 for a layer without inputs. */
    std::int32_t CountReadySets() const;
    bool DrainQueues();

    Tensor<T> frame_;
};

extern template class BaseQueuedLayer<float>;

}  // namespace vorun
