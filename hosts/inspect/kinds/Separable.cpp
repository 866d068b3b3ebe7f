#include <algorithm>
#include <cstdlib>

#include "inspect/RecordReader.h"
#include "inspect/kinds/Kinds.h"

namespace vorun::inspect::kinds {
namespace {

std::int64_t tapsOf(const StoredTensor& kernel) {
    return std::min(kernel.dim(0), kernel.values);
}

/** Bins that all taps of the height kernel meet, for one frame. */
double heightSteps(std::int64_t taps, std::int64_t height) {
    const std::int64_t centre = (taps - 1) / 2;
    double steps = 0.0;
    for (std::int64_t tap = 0; tap < taps; ++tap) {
        steps += static_cast<double>(std::max<std::int64_t>(height - std::abs(tap - centre), 0));
    }
    return steps;
}

}  // namespace

void readSeparable(RecordReader& reader, LayerRecord& record) {
    record.tensors.push_back(reader.readTensor("time kernel"));
    record.tensors.push_back(reader.readTensor("height kernel"));
}

Flow followSeparable(const LayerRecord& record, const std::vector<Frames>& inputs) {
    const std::int64_t timeTaps = tapsOf(record.tensors[0]);
    const std::int64_t heightTaps = tapsOf(record.tensors[1]);
    Flow flow;
    flow.output = inputs.front();
    flow.historyValues = product({timeTaps, flow.output.values()});
    flow.outputValues = 2 * flow.output.values();
    flow.multiplyAdds =
        static_cast<double>(timeTaps) * static_cast<double>(flow.output.values()) +
        heightSteps(heightTaps, flow.output.height) * static_cast<double>(flow.output.channels);
    return flow;
}

std::string describeSeparable(const LayerRecord& record) {
    return counted(tapsOf(record.tensors[0]), "tap") + " over time, " +
           std::to_string(tapsOf(record.tensors[1])) + " over height";
}

}  // namespace vorun::inspect::kinds
