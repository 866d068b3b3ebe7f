#include "inspect/GraphFlow.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "inspect/LayerKinds.h"
#include "inspect/Printable.h"

namespace vorun::inspect {
namespace {

constexpr double valueBytes = 4.0;

using KnownFrames = std::optional<Frames>;

bool fitsTensor(const Frames& frames) {
    return product({frames.height, frames.channels}) <= mostValues && frames.height <= mostValues &&
           frames.channels <= mostValues;
}

class Walk {
  public:
    explicit Walk(const FileContents& contents) : contents_(contents) {}

    GraphFlow run() {
        enterInput();
        for (const LayerRecord& record : contents_.layers) {
            followLayer(record);
        }
        graph_.output = framesOf(contents_.outputFeeder);
        markWhatLeadsToOutput();
        checkOutput();
        return std::move(graph_);
    }

  private:
    void warn(const std::string& text) { graph_.warnings.push_back(text); }

    void enterInput() {
        const std::int64_t rows = contents_.featureRows();
        if (rows > 0 && contents_.inputChannels > 0) {
            graph_.input = Frames{rows, contents_.inputChannels, {}};
        } else {
            graph_.isComplete = false;
        }
    }

    KnownFrames framesOf(int feeder) const {
        if (feeder == modelInput) {
            return graph_.input;
        }
        const std::optional<Flow>& flow = graph_.layers[static_cast<std::size_t>(feeder)].flow;
        return flow ? KnownFrames(flow->output) : KnownFrames();
    }

    /** Nothing unless every input is known. */
    std::optional<std::vector<Frames>> inputsOf(const LayerRecord& record) const {
        std::vector<Frames> inputs;
        for (const int feeder : record.feeders) {
            const KnownFrames frames = framesOf(feeder);
            if (!frames) {
                return std::nullopt;
            }
            inputs.push_back(*frames);
        }
        return inputs;
    }

    void followLayer(const LayerRecord& record) {
        for (const StoredTensor& tensor : record.tensors) {
            graph_.weightBytes += valueBytes * static_cast<double>(tensor.values);
            warnOfValues(record, tensor);
        }
        graph_.layers.emplace_back();
        const std::optional<std::vector<Frames>> inputs = inputsOf(record);
        if (record.feeders.empty()) {
            warn(quoted(record.name) + " has no inputs and never gives a frame");
        }
        if (!inputs || inputs->empty()) {
            graph_.isComplete = false;
            return;
        }
        takeFlow(record, kindOf(record.type)->follow(record, *inputs), *inputs);
    }

    void warnOfValues(const LayerRecord& record, const StoredTensor& tensor) {
        const std::string start = quoted(record.name) + " has ";
        if (tensor.nonFinite > 0) {
            warn(start + counted(tensor.nonFinite, "value") + " in its " + tensor.role +
                 " that no number can stand for (infinite or not a number)");
        }
        if (tensor.storedAs == StoredAs::nothing && tensor.values > 0) {
            warn(start + "no stored values in its " + tensor.role +
                 ", whose element type is unknown: they load as zeros");
        }
    }

    void takeFlow(const LayerRecord& record, const Flow& flow, const std::vector<Frames>& inputs) {
        for (const std::string& fault : flow.faults) {
            warn(quoted(record.name) + " " + fault);
        }
        const bool fits = fitsTensor(flow.output) && flow.historyValues <= mostValues;
        if (!fits) {
            warn(quoted(record.name) + " needs a tensor of more than 2^31 - 1 values");
            graph_.isComplete = false;
            return;
        }
        double inputRate = inputs.front().rate.value();
        for (const Frames& in : inputs) {
            inputRate = std::min(inputRate, in.rate.value());
        }
        LayerFlow& layer = graph_.layers.back();
        layer.flow = flow;
        layer.multiplyAdds = flow.multiplyAdds * inputRate;
        graph_.multiplyAdds += layer.multiplyAdds;
        graph_.weightBytes += valueBytes * static_cast<double>(flow.arrangedValues);
        graph_.historyBytes += valueBytes * static_cast<double>(flow.historyValues);
        graph_.historyBytes += valueBytes * static_cast<double>(flow.waitingSums);
        graph_.outputBytes += valueBytes * static_cast<double>(flow.outputValues);
    }

    void markWhatLeadsToOutput() {
        if (contents_.outputFeeder != modelInput) {
            graph_.layers[static_cast<std::size_t>(contents_.outputFeeder)].leadsToOutput = true;
        }
        for (std::size_t i = graph_.layers.size(); i-- > 0;) {
            if (!graph_.layers[i].leadsToOutput) {
                continue;
            }
            for (const int feeder : contents_.layers[i].feeders) {
                if (feeder != modelInput) {
                    graph_.layers[static_cast<std::size_t>(feeder)].leadsToOutput = true;
                }
            }
        }
        for (std::size_t i = 0; i < graph_.layers.size(); ++i) {
            if (!graph_.layers[i].leadsToOutput) {
                warn(quoted(contents_.layers[i].name) +
                     " does not lead to the output; it runs all the same");
            }
        }
    }

    void checkOutput() {
        if (!graph_.output) {
            return;
        }
        if (graph_.output->height < contents_.featureRows()) {
            warn("the output has " + counted(graph_.output->height, "row") +
                 ", but the header promises " + std::to_string(contents_.featureRows()));
        }
        if (graph_.output->channels < contents_.promisedChannels()) {
            warn("the output has " + counted(graph_.output->channels, "channel") +
                 ", but the header promises " + std::to_string(contents_.promisedChannels()));
        }
        if (!graph_.output->rate.isOne()) {
            warn("the output gives " + textOf(graph_.output->rate) +
                 " frames for each that goes in");
        }
    }

    const FileContents& contents_;
    GraphFlow graph_;
};

}  // namespace

GraphFlow followGraph(const FileContents& contents) {
    return Walk(contents).run();
}

}  // namespace vorun::inspect
