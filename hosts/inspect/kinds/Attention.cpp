#include "inspect/RecordReader.h"
#include "inspect/kinds/Kinds.h"
#include "inspect/kinds/Words.h"

namespace vorun::inspect::kinds {
namespace {

constexpr std::int32_t firstVersionWithWindow = 4103;

/** Frames of the time window; 0 for a layer without one. */
std::int64_t windowFrames(const LayerRecord& record) {
    return record.tensors[2].values > 0 ? record.tensors[2].dim(0) : 0;
}

void checkTensors(const LayerRecord& record, const Frames& frames, Flow& flow) {
    const StoredTensor& window = record.tensors[2];
    if (product({frames.channels, frames.channels}) > record.tensors[0].values) {
        const std::string side = std::to_string(frames.channels);
        flow.faults.push_back(tooFew(record.tensors[0], side + " x " + side));
    }
    if (frames.values() > record.tensors[1].values) {
        flow.faults.push_back(tooFew(record.tensors[1], std::to_string(frames.values())));
    }
    if (product({windowFrames(record), frames.channels}) > window.values) {
        flow.faults.push_back(tooFew(window, std::to_string(windowFrames(record)) + " x " +
                                                 std::to_string(frames.channels)));
    }
}

}  // namespace

void readAttention(RecordReader& reader, LayerRecord& record) {
    record.tensors.push_back(reader.readTensor("projection"));
    record.tensors.push_back(reader.readTensor("projection bias"));
    if (reader.version() >= firstVersionWithWindow) {
        record.lookahead = reader.plain().ReadInt8();
        record.tensors.push_back(reader.readTensor("attention weights"));
    } else {
        record.tensors.push_back({"attention weights", {}, StoredAs::single, 0, 0});
    }
}

Flow followAttention(const LayerRecord& record, const std::vector<Frames>& inputs) {
    Flow flow;
    flow.output = inputs.front();
    checkTensors(record, flow.output, flow);
    const std::int64_t values = flow.output.values();
    const std::int64_t window = windowFrames(record);
    flow.historyValues = product({window, values});
    flow.outputValues = window > 0 ? 2 * values : values;
    flow.multiplyAdds = static_cast<double>(values) *
                        (static_cast<double>(window) + static_cast<double>(flow.output.channels));
    return flow;
}

std::string describeAttention(const LayerRecord& record) {
    const std::int64_t window = windowFrames(record);
    return counted(record.tensors[0].dim(0), "channel") +
           (window > 0 ? ", window of " + counted(window, "frame") : ", no window") +
           lookaheadWords(record);
}

}  // namespace vorun::inspect::kinds
