#include "neural/RandomGraph.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

#include "neural/RandomGraphBuilder.h"
#include "neural/RandomGraphLayers.h"
#include "support/SequenceSchedule.h"

namespace vorun::test {
namespace {

using writer::LayerType;

using Place = RandomGraphBuilder::Place;

/** Frames of the last stream that must get through the output. */
constexpr std::int32_t minDelivered = 4;

/** Puts layers together to the figures that models are made of. */
class GraphArchitect {
  public:
    explicit GraphArchitect(GraphDice& dice) : dice_(dice), builder_(dice) {}

    /** Nothing where the dice gave too little. */
    std::optional<RandomGraph> build();

  private:
    Place motif(Place from, std::int32_t depth);
    Place chain(Place from, std::int32_t layers);
    Place fork(Place from);
    Place encoderAndDecoder(Place from, std::int32_t depth);
    Place lateJoin(Place from);
    Place lonelyStride(Place from);
    void deadEnd();

    Place join(std::vector<Place> inputs);
    std::optional<Place> arithmeticJoin(std::vector<Place> inputs);
    Place fitChannels(Place place, std::int32_t channels);

    GraphDice& dice_;
    RandomGraphBuilder builder_;
};

Place GraphArchitect::chain(Place from, std::int32_t layers) {
    for (std::int32_t i = 0; i < layers; ++i) {
        from = builder_.addOne(from, randomLayer);
    }
    return from;
}

Place GraphArchitect::fitChannels(Place place, std::int32_t channels) {
    if (builder_.placeAfter(place).channels == channels) {
        return place;
    }
    return builder_.addOne(place, [&](GraphDice& dice, const LayerPlace& at) {
        return channelFit(dice, at, channels);
    });
}

/** Whatever the inputs' shapes: the layer takes its shape from the first, which must be least. */
std::optional<Place> GraphArchitect::arithmeticJoin(std::vector<Place> inputs) {
    if (!dice_.oneIn(5)) {
        const std::int32_t channels = builder_.placeAfter(inputs.front()).channels;
        for (Place& input : inputs) {
            input = fitChannels(input, channels);
        }
    }
    std::swap(inputs.front(),
              *std::min_element(inputs.begin(), inputs.end(), [&](Place a, Place b) {
                  return builder_.frameVolume(a) < builder_.frameVolume(b);
              }));
    const std::int32_t operation = dice_.roll(0, 4);
    if (operation == 1) {  // Every input but the last becomes a divisor.
        for (std::size_t i = 0; i + 1 < inputs.size(); ++i) {
            inputs[i] =
                builder_.addOne(inputs[i], [](GraphDice& /*dice*/, const LayerPlace& /*place*/) {
                    return RandomLayer{LayerType::sigmoid, {}};
                });
        }
    }
    constexpr std::int8_t otherOperations[] = {4, -1, 127};
    const auto code =
        operation == 4 ? otherOperations[dice_.roll(0, 2)] : static_cast<std::int8_t>(operation);
    return builder_.add({LayerType::arithmetic, code}, inputs);
}

/** By arithmetic or, where that is not tame, by concatenation. */
Place GraphArchitect::join(std::vector<Place> inputs) {
    std::sort(inputs.begin(), inputs.end());
    inputs.erase(std::unique(inputs.begin(), inputs.end()), inputs.end());
    dice_.shuffle(inputs);
    const Place fallback = inputs.front();
    if (inputs.size() < 2) {
        return fallback;
    }
    if (dice_.oneIn(2)) {
        if (const auto place = arithmeticJoin(inputs)) {
            return *place;
        }
    }
    std::swap(inputs.front(),
              *std::min_element(inputs.begin(), inputs.end(), [&](Place a, Place b) {
                  return builder_.placeAfter(a).height < builder_.placeAfter(b).height;
              }));
    return builder_.add({LayerType::concat, {}}, inputs).value_or(fallback);
}

Place GraphArchitect::fork(Place from) {
    const std::int32_t branches = dice_.oneIn(4) ? 3 : 2;
    std::vector<Place> ends;
    for (std::int32_t i = 0; i < branches; ++i) {
        Place end = chain(from, dice_.roll(0, 2));
        if (dice_.oneIn(2)) {
            end = builder_.addOne(end, randomDelay);
        }
        ends.push_back(end);
    }
    return join(std::move(ends));
}

Place GraphArchitect::encoderAndDecoder(Place from, std::int32_t depth) {
    const std::int32_t height = builder_.placeAfter(from).height;
    const Strides strides = {dice_.roll(2, 3), height >= 2 && dice_.oneIn(2) ? 2 : 1};
    const Place encoder = builder_.addOne(from, [&](GraphDice& dice, const LayerPlace& place) {
        return randomConv(dice, place, strides);
    });
    if (encoder == from) {
        return from;
    }
    const Place inner =
        dice_.oneIn(3) ? motif(encoder, depth + 1) : chain(encoder, dice_.roll(0, 2));
    const Place decoder = builder_.addOne(inner, [&](GraphDice& dice, const LayerPlace& place) {
        return randomTransposedConv(dice, place, strides);
    });
    if (dice_.oneIn(5)) {
        return decoder;
    }
    return join({dice_.oneIn(2) ? from : chain(from, 1), decoder});
}

/** With any layer of before, the input too. */
Place GraphArchitect::lateJoin(Place from) {
    const auto other = dice_.roll(0, static_cast<std::int32_t>(builder_.size()) - 1);
    return join({from, static_cast<Place>(other)});
}

/** A decimation that nothing undoes, or an interpolation of its own. */
Place GraphArchitect::lonelyStride(Place from) {
    const Strides strides = {dice_.roll(2, 3), 1};
    const bool decimates = dice_.oneIn(2);
    return builder_.addOne(from, [&](GraphDice& dice, const LayerPlace& place) {
        return decimates ? randomConv(dice, place, strides)
                         : randomTransposedConv(dice, place, strides);
    });
}

/** A layer whose frames nobody takes. */
void GraphArchitect::deadEnd() {
    const auto from =
        static_cast<Place>(dice_.roll(0, static_cast<std::int32_t>(builder_.size()) - 1));
    if (dice_.oneIn(2)) {
        lonelyStride(from);
    } else {
        chain(from, 1);
    }
}

Place GraphArchitect::motif(Place from, std::int32_t depth) {
    switch (dice_.roll(depth < 2 ? 0 : 3, 9)) {
        case 0:
        case 1:
        case 2:
            return encoderAndDecoder(from, depth);
        case 3:
        case 4:
        case 5:
            return fork(from);
        case 6:
            return lateJoin(from);
        case 7:
            return dice_.oneIn(2) ? lonelyStride(from) : chain(from, 1);
        default:
            return chain(from, dice_.roll(1, 3));
    }
}

bool delivers(const RandomGraph& graph) {
    sequence::Schedule schedule(graph.model);
    std::int32_t delivered = 0;
    for (std::int32_t t = 0; t < graph.streams.back().frames(); ++t) {
        delivered += schedule.feed(1);
    }
    return delivered >= minDelivered;
}

std::optional<RandomGraph> GraphArchitect::build() {
    Place end = 0;
    for (std::int32_t i = dice_.roll(2, 4); i > 0; --i) {
        end = motif(end, 0);
        if (dice_.oneIn(10)) {
            deadEnd();
        }
    }
    if (builder_.size() < 3 || end == 0) {
        return std::nullopt;
    }
    RandomGraph graph = builder_.finish(end);
    return delivers(graph) ? std::optional(std::move(graph)) : std::nullopt;
}

}  // namespace

std::string describe(const RandomGraph& graph) {
    std::string text = "version " + std::to_string(graph.model.header.version);
    for (const sequence::Node& node : graph.model.nodes) {
        text += "\n" + node.name + ": type " + std::to_string(static_cast<int>(node.type)) + " of";
        for (const std::string& input : node.inputs) {
            text += " " + input;
        }
    }
    return text + "\noutput of " + graph.model.outputSource;
}

RandomGraph randomGraph(std::uint32_t seed) {
    GraphDice dice(seed);
    for (;;) {
        if (auto graph = GraphArchitect(dice).build()) {
            return std::move(*graph);
        }
    }
}

}  // namespace vorun::test
