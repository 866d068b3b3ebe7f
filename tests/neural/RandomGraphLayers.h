#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "support/SequenceModel.h"

namespace vorun::test {

/** Everything random about one graph; the same seed gives the same graph everywhere. */
class GraphDice {
  public:
    explicit GraphDice(std::uint32_t seed) : engine_(seed) {}

    /** From low to high, both included. */
    std::int32_t roll(std::int32_t low, std::int32_t high) {
        const auto sides = static_cast<std::uint32_t>(high - low) + 1U;
        return low + static_cast<std::int32_t>(engine_() % sides);
    }
    bool oneIn(std::int32_t chances) { return roll(1, chances) == 1; }
    /** From -1 to 1. */
    float signedUnit() { return static_cast<float>(roll(-32768, 32768)) / 32768.0F; }
    template <class Item>
    void shuffle(std::vector<Item>& items) {
        for (std::size_t i = items.size(); i > 1; --i) {
            std::swap(items[i - 1],
                      items[static_cast<std::size_t>(roll(0, static_cast<std::int32_t>(i) - 1))]);
        }
    }

  private:
    // The standard fixes this engine's numbers, but not those of its distributions.
    std::mt19937 engine_;
};

/** What a layer is made to fit: the frames that reach it, and the file that it stands in. */
struct LayerPlace {
    std::int32_t height = 1;
    std::int32_t channels = 1;
    std::int32_t version = 4105;
};

/** A layer's type and record, still without a name and inputs. */
struct RandomLayer {
    writer::LayerType type = writer::LayerType::relu;
    sequence::LayerRecord record;
};

/** Strides of a convolution or a transposed convolution. */
struct Strides {
    std::int32_t time = 1;
    std::int32_t height = 1;
};

/** Any layer with one input that keeps the rate of its frames. */
RandomLayer randomLayer(GraphDice& dice, const LayerPlace& place);
RandomLayer randomConv(GraphDice& dice, const LayerPlace& place, Strides strides);
RandomLayer randomTransposedConv(GraphDice& dice, const LayerPlace& place, Strides strides);
/** A layer that holds frames back at the start: look-ahead, warm-up or, from 4103, attention. */
RandomLayer randomDelay(GraphDice& dice, const LayerPlace& place);
/** A convolution over one frame and one bin to that number of channels. */
RandomLayer channelFit(GraphDice& dice, const LayerPlace& place, std::int32_t channels);
RandomLayer randomActivation(GraphDice& dice);

}  // namespace vorun::test
