#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "neural/GraphState.h"
#include "neural/LayerSlot.h"
#include "neural/Tensor.h"

namespace vorun {

class ModelReader;

/**
 * The root of all layers: a node that is called with tensors and calls its consumers with its own.
 *
 * There is no scheduler. A call into a model's first layer runs the whole graph, depth first along
 * the consumers in the order in which they were connected, before it returns. One thread at a time
 * may be inside the layers of a model; different models share nothing.
 *
 * The contract of AddTensor: Resize() the output tensor (a member, so that steady shapes allocate
 * nothing), MakeUnique() it, compute, return PropagateToConsumers(output, this). A layer keeps no
 * reference to its input; what it needs later it copies into a history of its own.
 */
template <class T>
class BaseLayer {
  public:
    /** A layer that a model makes itself, with nothing feeding it. */
    BaseLayer();
    /**
     * Reads the header of a record with a single input and joins the consumers of the layer that
     * it names. Throws std::out_of_range if no earlier layer has that name.
     */
    BaseLayer(LayerMap<T>& layers, ModelReader& reader, std::int32_t type);
    virtual ~BaseLayer() = default;
    BaseLayer(const BaseLayer&) = delete;
    BaseLayer& operator=(const BaseLayer&) = delete;

    /**
     * Takes frames and pushes what they give down the graph.
     *
     * @param input  [frames, height, channels]; an empty shape counts 0 in each.
     * @param source the calling layer, null from outside; only BaseQueuedLayer looks at it.
     * @return whether a tensor reached an OutputLayer during the call.
     * @throws std::runtime_error when the shape cannot be computed or a vector primitive fails. The
     *         tensor is then lost, the histories stay as they are, and the layer stays usable.
     */
    virtual bool AddTensor(const Tensor<T>& input, const BaseLayer<T>* source);
    /** Forgets the stream so far. */
    virtual void ResetState();
    /**
     * Longest look-ahead of any path from here on, in frames at the model's input.
     *
     * @param scale how many of those frames one frame at this layer stands for.
     * @throws std::runtime_error if the figure leaves 32 bits.
     */
    virtual std::int32_t GetLatency(std::int32_t scale);
    /**
     * The tick in place of a frame that an earlier layer swallowed; passes to every consumer, but
     * for those that PlanTicks() found deaf to it.
     */
    virtual void SkipFrame();

    /** Calls every consumer in order, whatever earlier ones returned; the OR of their results. */
    bool PropagateToConsumers(const Tensor<T>& tensor, const BaseLayer<T>* source);

    /**
     * Finds the layers at which a tick changes nothing, neither there nor further down, so that
     * ticks pass them by: a tick goes along every path, and paths double with each fork that is
     * joined again. Called once, on the input of a finished graph.
     *
     * @return layers that one tick visits from here on, a layer counted once for each path.
     * @throws std::runtime_error if a layer that swallows frames would make more than 2^20 visits.
     */
    std::int64_t PlanTicks();

    /** Records on the longest path from the model's input up to and including this layer. */
    std::int32_t depth() const { return depth_; }

    /** Not owned: the model's name map keeps every layer alive. */
    std::list<BaseLayer<T>*> consumers;
    /** The number with which the class was built; stored, never read. */
    std::int32_t layerType = 0;

  protected:
    /** How many times as many frames and bins a layer gives as it takes. */
    struct Growth {
        double frames = 1.0;
        double height = 1.0;
    };

    /** Joins the consumers of the layer of that name, which is returned. */
    BaseLayer<T>* ConnectTo(const LayerMap<T>& layers, const std::string& name);
    /**
     * Notes what a layer's strides do to the rates that reach it. Throws std::runtime_error once a
     * path makes more than 2^15 bins out of one at the model's input.
     */
    void ChangeRates(const Growth& own);
    const std::shared_ptr<GraphState>& graph() const { return graph_; }

  private:
    /** Whether SkipFrame() does more here than to pass on. */
    virtual bool ReactsToTicks() const { return false; }
    /** Whether AddTensor() ever calls SkipFrame() on the consumers. */
    virtual bool SendsTicks() const { return false; }
    bool IsDeafToTicks() const { return tickVisits_ == 0; }

    std::shared_ptr<GraphState> graph_;
    std::int32_t depth_ = 0;
    /** From the model's input up to and including this layer, the most along any path. */
    Growth growth_;
    /** Below 0 until planned. */
    std::int64_t tickVisits_ = -1;
};

/** The figure as 32 bits; throws std::runtime_error if it does not fit. */
std::int32_t latencyFrames(std::int64_t frames);

extern template class BaseLayer<float>;

}  // namespace vorun
