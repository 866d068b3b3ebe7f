#include "api/SequenceNetwork.h"

#include <stdexcept>

namespace vorun::apitest {
namespace {

sequence::Frames streamOf(const Frames& seen) {
    sequence::Frames stream(static_cast<std::int32_t>(seen.size()), seen.front().rows,
                            seen.front().channels);
    for (std::int32_t t = 0; t < stream.frames(); ++t) {
        for (std::int32_t i = 0; i < stream.frameVolume(); ++i) {
            stream.flat(t, i).value = seen[t].values[i];
        }
    }
    return stream;
}

Matrix frameAt(const sequence::Frames& stream, std::int32_t t) {
    Matrix frame(stream.height(), stream.channels());
    for (std::int32_t i = 0; i < stream.frameVolume(); ++i) {
        frame.values[i] = stream.flat(t, i).value;
    }
    return frame;
}

}  // namespace

SequenceNetwork::SequenceNetwork(const sequence::Model& model) : model_(model), schedule_(model) {}

Frames SequenceNetwork::push(const Matrix& frame) {
    seen_.push_back(frame);
    const std::int32_t count = schedule_.feed(1);
    if (count == 0) {
        return {};
    }
    const sequence::Frames all = sequence::evaluateModel(model_, streamOf(seen_));
    if (given_ + count > all.frames()) {
        throw std::logic_error("more frames are due than the stream has");
    }
    Frames due;
    for (std::int32_t i = 0; i < count; ++i) {
        due.push_back(frameAt(all, given_++));
    }
    return due;
}

void SequenceNetwork::reset() {
    schedule_.reset();
    seen_.clear();
    given_ = 0;
}

}  // namespace vorun::apitest
