#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "neural/RandomGraph.h"
#include "neural/RandomGraphLayers.h"

namespace vorun::test {

/** Grows a graph layer by layer, and refuses every layer whose frames would not be tame. */
class RandomGraphBuilder {
  public:
    /** A node by its number; the input is 0. */
    using Place = std::size_t;

    /** The fewest frames that the last stream gives behind every layer. */
    static constexpr std::int32_t minFrames = 8;

    /** Starts with a random header and random streams. */
    explicit RandomGraphBuilder(GraphDice& dice);

    std::size_t size() const { return built_.size(); }
    /** The frames that a layer behind `place` gets. */
    LayerPlace placeAfter(Place place) const;
    std::int32_t frameVolume(Place place) const;

    /** Nothing if the graph is full or the layer's frames are not tame. */
    std::optional<Place> add(const RandomLayer& layer, const std::vector<Place>& inputs);
    /** A layer from `make(dice, placeAfter(from))`, or `from` itself if none of a few is tame. */
    template <class Make>
    Place addOne(Place from, Make make) {
        for (std::int32_t i = 0; i < attempts; ++i) {
            if (const auto place = add(make(dice_, placeAfter(from)), {from})) {
                return *place;
            }
        }
        return from;
    }

    /** The graph with its output behind `end`. */
    RandomGraph finish(Place end);

  private:
    static constexpr std::int32_t attempts = 6;

    /** A node's frames for every stream, and whether they come several a call. */
    struct Built {
        std::string name;
        std::vector<sequence::Frames> streams;
        bool grouped = true;
    };

    sequence::Frames randomStream(std::int32_t frames, std::int32_t height, std::int32_t channels);
    /** What the layer gives for every stream. */
    Built compute(const sequence::Node& node, const std::vector<Place>& inputs) const;
    static bool isTame(const std::vector<sequence::Frames>& streams);

    GraphDice& dice_;
    RandomGraph graph_;
    std::vector<Built> built_;
};

}  // namespace vorun::test
