#include <algorithm>
#include <array>
#include <set>

#include "inspect/RecordReader.h"
#include "inspect/kinds/Kinds.h"

namespace vorun::inspect::kinds {
namespace {

/** What both joins do: they wait for a frame on every input. */
Flow waitForAll(const LayerRecord& record, const std::vector<Frames>& inputs) {
    Flow flow;
    flow.output = inputs.front();
    for (const Frames& in : inputs) {
        flow.historyValues += in.values();
        if (!(in.rate == flow.output.rate)) {
            flow.faults.push_back("gets " + textOf(in.rate) + " frames on one input for " +
                                  textOf(inputs.front().rate) +
                                  " on the first: the surplus piles up");
        }
        if (in.rate.value() < flow.output.rate.value()) {
            flow.output.rate = in.rate;
        }
    }
    const std::set<int> different(record.feeders.begin(), record.feeders.end());
    if (different.size() < record.feeders.size()) {
        flow.faults.emplace_back("names an input twice, so that it never has a frame on each");
    }
    return flow;
}

}  // namespace

Flow followConcat(const LayerRecord& record, const std::vector<Frames>& inputs) {
    Flow flow = waitForAll(record, inputs);
    flow.output.channels = 0;
    for (const Frames& in : inputs) {
        flow.output.channels += in.channels;
        if (in.height != flow.output.height) {
            flow.faults.push_back("joins " + counted(in.height, "bin") + " to the " +
                                  std::to_string(flow.output.height) + " of its first input");
        }
    }
    flow.outputValues = product({flow.output.height, flow.output.channels});
    return flow;
}

void readOperation(RecordReader& reader, LayerRecord& record) {
    record.operation = reader.plain().ReadInt8();
}

Flow followArithmetic(const LayerRecord& record, const std::vector<Frames>& inputs) {
    Flow flow = waitForAll(record, inputs);
    flow.outputValues = flow.output.values();
    const bool computes = record.operation >= 0 && record.operation <= 3;
    for (std::size_t i = 1; computes && i < inputs.size(); ++i) {
        flow.multiplyAdds += static_cast<double>(flow.output.values());
        if (inputs[i].values() < flow.output.values()) {
            flow.faults.push_back("meets " + counted(inputs[i].values(), "value") +
                                  " on an input with the " + std::to_string(flow.output.values()) +
                                  " of its first");
        }
    }
    return flow;
}

std::string describeOperation(const LayerRecord& record) {
    // The later input stands on top, and the running result below it.
    static const std::array<std::string, 4> steps = {"product", "next divided by result", "sum",
                                                     "next minus result"};
    const std::string number = " (operation " + std::to_string(record.operation) + ")";
    const bool computes = record.operation >= 0 && record.operation <= 3;
    return (computes ? steps.at(static_cast<std::size_t>(record.operation)) : "first input alone") +
           number;
}

}  // namespace vorun::inspect::kinds
