#include "inspect/RecordReader.h"
#include "inspect/kinds/Kinds.h"
#include "inspect/kinds/Words.h"

namespace vorun::inspect::kinds {

void readNorm(RecordReader& reader, LayerRecord& record) {
    record.tensors.push_back(reader.readTensor("offset"));
    record.tensors.push_back(reader.readTensor("scale"));
}

Flow followNorm(const LayerRecord& record, const std::vector<Frames>& inputs) {
    Flow flow;
    flow.output = inputs.front();
    flow.outputValues = flow.output.values();
    flow.multiplyAdds = static_cast<double>(flow.output.values());
    for (const StoredTensor& tensor : record.tensors) {
        if (tensor.values < flow.output.channels) {
            flow.faults.push_back(tooFew(tensor, std::to_string(flow.output.channels)));
        }
    }
    return flow;
}

std::string describeNorm(const LayerRecord& record) {
    return "scale and offset of " + counted(record.tensors[1].values, "channel");
}

void readPreNorm(RecordReader& reader, LayerRecord& record) {
    record.tensors.push_back(reader.readTensor("weights"));
}

Flow followPreNorm(const LayerRecord& record, const std::vector<Frames>& inputs) {
    const std::int64_t stateLength = record.tensors[0].dim(0);
    Flow flow;
    flow.output = inputs.front();
    flow.outputValues = flow.output.values();
    flow.historyValues = product({stateLength});
    // The level of the frame, the mean of the levels, and the scaling.
    flow.multiplyAdds =
        2.0 * static_cast<double>(flow.output.values()) + static_cast<double>(stateLength);
    return flow;
}

std::string describePreNorm(const LayerRecord& record) {
    return "level over " + counted(record.tensors[0].dim(0), "frame");
}

}  // namespace vorun::inspect::kinds
