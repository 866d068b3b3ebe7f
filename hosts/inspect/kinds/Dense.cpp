#include <cstdint>

#include "inspect/RecordReader.h"
#include "inspect/kinds/Kinds.h"
#include "inspect/kinds/Words.h"

namespace vorun::inspect::kinds {
namespace {

/** Below this the layer computes channel by channel, with its weights arranged for that. */
constexpr std::int64_t fewChannels = 8;

}  // namespace

void readDense(RecordReader& reader, LayerRecord& record) {
    record.tensors.push_back(reader.readTensor("weights"));
    record.tensors.push_back(reader.readTensor("bias"));
}

Flow followDense(const LayerRecord& record, const std::vector<Frames>& inputs) {
    const StoredTensor& weights = record.tensors[0];
    const StoredTensor& bias = record.tensors[1];
    Flow flow;
    flow.output = inputs.front();
    flow.outputValues = flow.output.values();
    if (flow.output.channels < fewChannels && flow.output.values() > 0) {
        // One channel of the frame and of its sums at a time.
        flow.arrangedValues = product({flow.output.height, flow.output.values()});
        flow.outputValues += 2 * flow.output.height;
    }
    flow.multiplyAdds =
        static_cast<double>(flow.output.values()) * static_cast<double>(flow.output.height);
    const std::int64_t height = flow.output.height;
    if (product({height, height, flow.output.channels}) > weights.values) {
        flow.faults.push_back(tooFew(weights, std::to_string(height) + " x " +
                                                  std::to_string(height) + " for each of " +
                                                  counted(flow.output.channels, "channel")));
    }
    if (bias.values > 0 && bias.values < flow.output.values()) {
        flow.faults.push_back(tooFew(bias, std::to_string(flow.output.values())));
    }
    return flow;
}

std::string describeDense(const LayerRecord& record) {
    return std::to_string(record.tensors[0].dim(1)) + " to " +
           counted(record.tensors[0].dim(0), "bin") + biasWords(record.tensors[1]);
}

}  // namespace vorun::inspect::kinds
