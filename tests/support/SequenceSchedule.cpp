#include "support/SequenceSchedule.h"

#include <algorithm>
#include <map>

namespace vorun::sequence {

using writer::LayerType;

Schedule::Schedule(const Model& model) {
    std::map<std::string, std::size_t> places = {{"input", 0}};
    stations_.emplace_back();
    const auto connect = [&](const std::string& source) {
        const std::size_t place = places.at(source);
        stations_.back().sources.push_back(place);
        stations_[place].consumers.push_back(stations_.size() - 1);
    };
    for (const Node& node : model.nodes) {
        stations_.push_back(stationOf(node, model.header.version));
        std::for_each(node.inputs.begin(), node.inputs.end(), connect);
        stations_.back().queued.resize(node.inputs.size());
        places[node.name] = stations_.size() - 1;
    }
    stations_.emplace_back();
    stations_.back().kind = Kind::collects;
    connect(model.outputSource);
}

Schedule::Station Schedule::stationOf(const Node& node, std::int32_t version) {
    Station station;
    if (isJoin(node.type)) {
        station.kind = Kind::joins;
    } else if (node.type == LayerType::conv) {
        const auto& record = std::get<writer::ConvRecord>(node.record);
        station.kind = Kind::strides;
        station.stride = record.timeStride;
        station.lookahead = record.lookahead;
    } else if (node.type == LayerType::transposedConv) {
        const auto& record = std::get<writer::TransposedConvRecord>(node.record);
        station.kind = Kind::transposes;
        station.stride = record.timeStride;
        station.lookahead = record.lookahead;
    } else if (node.type == LayerType::separableChannelConv) {
        station.kind = Kind::warmsUp;
        station.lookahead = (std::get<TwoTensors>(node.record).first.shape.at(0) + 1) / 2 - 1;
    } else if (node.type == LayerType::selfAttention) {
        station.lookahead = attentionOf(node, version).lookahead;
        station.ownLatency = station.lookahead;
        station.kind = station.lookahead > 0 ? Kind::warmsUp : Kind::passes;
    }
    return station;
}

std::int32_t Schedule::feed(std::int32_t frames) {
    collected_ = 0;
    handOn(0, frames);
    return collected_;
}

void Schedule::reset() {
    for (Station& station : stations_) {
        station.seen = 0;
        station.pending = 0;
        std::fill(station.queued.begin(), station.queued.end(), 0);
    }
}

std::int32_t Schedule::waiting() const {
    std::int32_t frames = 0;
    for (const Station& station : stations_) {
        frames += station.pending;
    }
    return frames;
}

bool Schedule::accept(std::size_t station, std::size_t source, std::int32_t frames) {
    Station& at = stations_[station];
    switch (at.kind) {
        case Kind::collects:
            collected_ += frames;
            return true;
        case Kind::passes:
            return handOn(station, frames);
        case Kind::joins:
            return join(station, source, frames);
        default:
            break;
    }
    bool reached = false;
    for (std::int32_t i = 0; i < frames; ++i) {
        reached = acceptOne(station) || reached;
        ++at.seen;
    }
    return reached;
}

/** One frame into a layer that counts them. */
bool Schedule::acceptOne(std::size_t station) {
    const Station& at = stations_[station];
    if (at.kind == Kind::transposes) {
        return transpose(station);
    }
    if (at.kind == Kind::warmsUp) {  // What it swallows, it swallows without a tick.
        return at.seen >= at.lookahead && handOn(station, 1);
    }
    if (at.seen < at.lookahead || (at.seen - at.lookahead) % at.stride != 0) {
        tickConsumers(station);
        return false;
    }
    return handOn(station, 1);
}

bool Schedule::handOn(std::size_t station, std::int32_t frames) {
    bool reached = false;
    for (const std::size_t consumer : stations_[station].consumers) {
        reached = accept(consumer, station, frames) || reached;
    }
    return reached;
}

bool Schedule::join(std::size_t station, std::size_t source, std::int32_t frames) {
    Station& at = stations_[station];
    const auto place = std::find(at.sources.begin(), at.sources.end(), source);
    at.queued[static_cast<std::size_t>(place - at.sources.begin())] += frames;
    const std::int32_t complete = *std::min_element(at.queued.begin(), at.queued.end());
    bool reached = false;
    for (std::int32_t i = 0; i < complete; ++i) {
        for (std::int32_t& queued : at.queued) {
            --queued;
        }
        reached = handOn(station, 1) || reached;
    }
    return reached;
}

/** Each input frame completes `stride` output frames, of which the first `lookahead` are lost. */
bool Schedule::transpose(std::size_t station) {
    Station& at = stations_[station];
    const std::int32_t first = at.seen * at.stride;
    at.pending += at.stride - std::clamp(at.lookahead - first, 0, at.stride);
    return deliver(station);
}

/** Until a frame gets through to the output, or none is left. */
bool Schedule::deliver(std::size_t station) {
    Station& at = stations_[station];
    while (at.pending > 0) {
        --at.pending;
        if (handOn(station, 1)) {
            return true;
        }
    }
    return false;
}

void Schedule::tick(std::size_t station) {
    if (stations_[station].kind == Kind::transposes) {
        deliver(station);
    }
    tickConsumers(station);
}

void Schedule::tickConsumers(std::size_t station) {
    for (const std::size_t consumer : stations_[station].consumers) {
        tick(consumer);
    }
}

std::int32_t Schedule::latencyOf(std::size_t station, std::int32_t scale) const {
    const Station& at = stations_[station];
    switch (at.kind) {
        case Kind::strides:
            return at.latencyOfConsumers(*this, scale * at.stride) + scale * at.lookahead;
        case Kind::transposes:
            return at.latencyOfConsumers(*this, scale / at.stride) + scale * at.lookahead;
        default:
            return at.latencyOfConsumers(*this, scale) + at.ownLatency;
    }
}

std::int32_t Schedule::Station::latencyOfConsumers(const Schedule& schedule,
                                                   std::int32_t scale) const {
    std::int32_t largest = 0;
    for (const std::size_t consumer : consumers) {
        largest = std::max(largest, schedule.latencyOf(consumer, scale));
    }
    return largest;
}

}  // namespace vorun::sequence
