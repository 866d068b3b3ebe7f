#include "neural/RandomGraphBuilder.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace vorun::test {
namespace {

using sequence::Frames;
using writer::LayerType;

constexpr std::size_t maxNodes = 16;
constexpr std::int32_t maxFrameVolume = 72;
constexpr std::int32_t maxFrames = 120;
/** Far from where an exponential overflows. */
constexpr double maxValue = 30.0;
constexpr double minLevel = 0.02;
constexpr double maxRelativeError = 2e-4;

/** Whether the layer hands on several frames a call where it gets several. */
bool keepsGroups(const sequence::Node& node, std::int32_t version) {
    switch (node.type) {
        case LayerType::conv:
        case LayerType::transposedConv:
        case LayerType::separableChannelConv:
        case LayerType::concat:
        case LayerType::arithmetic:
            return false;
        case LayerType::selfAttention:
            return sequence::attentionOf(node, version).lookahead == 0;
        default:
            return true;
    }
}

/** A depthwise convolution with several outputs a channel, or attention that looks ahead. */
bool wantsSingleFrames(const sequence::Node& node, const Frames& input, std::int32_t version) {
    if (node.type == LayerType::selfAttention) {
        return sequence::attentionOf(node, version).lookahead > 0;
    }
    if (node.type != LayerType::conv) {
        return false;
    }
    const auto& shape = std::get<writer::ConvRecord>(node.record).weights.shape;
    return shape[2] == 1 && shape[3] > input.channels() && input.channels() != 1;
}

}  // namespace

RandomGraphBuilder::RandomGraphBuilder(GraphDice& dice) : dice_(dice) {
    constexpr std::int32_t versions[] = {4100, 4101, 4102, 4103, 4104, 4105, 4105, 4105, 4106};
    graph_.model.header.version = versions[dice_.roll(0, 8)];
    graph_.model.header.tag = dice_.oneIn(4) ? "ZUTo.model" : "VORUN.model";
    const std::int32_t height = dice_.roll(1, 8);
    const std::int32_t channels = dice_.roll(1, 3);
    const std::int32_t resets = std::max(dice_.roll(-1, 2), 0);
    for (std::int32_t i = 0; i < resets; ++i) {
        graph_.streams.push_back(randomStream(dice_.roll(1, 17), height, channels));
    }
    graph_.streams.push_back(randomStream(dice_.roll(30, 48), height, channels));
    built_.push_back({"input", graph_.streams, true});
}

/** Now and then with a frame of zeros. */
Frames RandomGraphBuilder::randomStream(std::int32_t frames, std::int32_t height,
                                        std::int32_t channels) {
    Frames stream(frames, height, channels);
    for (std::int32_t t = 0; t < frames; ++t) {
        const bool silent = dice_.oneIn(40);
        for (std::int32_t i = 0; i < stream.frameVolume(); ++i) {
            stream.flat(t, i).value = silent ? 0.0 : static_cast<double>(dice_.signedUnit());
        }
    }
    return stream;
}

LayerPlace RandomGraphBuilder::placeAfter(Place place) const {
    const Frames& frames = built_[place].streams.back();
    return {frames.height(), frames.channels(), graph_.model.header.version};
}

bool RandomGraphBuilder::isTame(const std::vector<Frames>& streams) {
    const Frames& last = streams.back();
    if (last.frameVolume() < 1 || last.frameVolume() > maxFrameVolume ||
        last.frames() < minFrames || last.frames() > maxFrames || levelOf(last) < minLevel) {
        return false;
    }
    const auto isSmall = [](const sequence::Estimate& x) {
        return std::fabs(x.value) <= maxValue && std::isfinite(x.error);
    };
    return std::all_of(streams.begin(), streams.end(), [&](const Frames& stream) {
        return std::all_of(stream.values().begin(), stream.values().end(), isSmall) &&
               relativeError(stream) <= maxRelativeError;
    });
}

RandomGraphBuilder::Built RandomGraphBuilder::compute(const sequence::Node& node,
                                                      const std::vector<Place>& inputs) const {
    const std::int32_t version = graph_.model.header.version;
    Built built{node.name, {}, built_[inputs.front()].grouped && keepsGroups(node, version)};
    for (std::size_t i = 0; i < graph_.streams.size(); ++i) {
        std::vector<const Frames*> streams;
        for (const Place input : inputs) {
            streams.push_back(&built_[input].streams[i]);
        }
        built.streams.push_back(sequence::evaluateNode(node, streams, version));
    }
    return built;
}

std::optional<RandomGraphBuilder::Place> RandomGraphBuilder::add(const RandomLayer& layer,
                                                                 const std::vector<Place>& inputs) {
    if (graph_.model.nodes.size() >= maxNodes) {
        return std::nullopt;
    }
    // The letter in front shuffles the order in which a reset walks the layers.
    const auto letter = static_cast<char>('a' + dice_.roll(0, 25));
    sequence::Node node{letter + std::to_string(size()), layer.type, {}, layer.record};
    for (const Place input : inputs) {
        node.inputs.push_back(built_[input].name);
    }
    Built built = compute(node, inputs);
    if (!isTame(built.streams)) {
        return std::nullopt;
    }
    const Built& first = built_[inputs.front()];
    if (first.grouped &&
        wantsSingleFrames(node, first.streams.back(), graph_.model.header.version)) {
        graph_.takesGroups = false;
    }
    built_.push_back(std::move(built));
    graph_.model.nodes.push_back(std::move(node));
    return size() - 1;
}

std::int32_t RandomGraphBuilder::frameVolume(Place place) const {
    return built_[place].streams.back().frameVolume();
}

RandomGraph RandomGraphBuilder::finish(Place end) {
    graph_.model.outputSource = built_[end].name;
    return std::move(graph_);
}

double levelOf(const Frames& frames) {
    double squares = 0.0;
    for (const sequence::Estimate& x : frames.values()) {
        squares += x.value * x.value;
    }
    return squares > 0.0 ? std::sqrt(squares / static_cast<double>(frames.values().size())) : 0.0;
}

double relativeError(const Frames& frames) {
    double largest = 0.0;
    for (const sequence::Estimate& x : frames.values()) {
        largest = std::max(largest, x.error);
    }
    return largest / std::max(levelOf(frames), minLevel);
}

}  // namespace vorun::test
