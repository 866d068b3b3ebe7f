#include <algorithm>

#include "inspect/RecordReader.h"
#include "inspect/kinds/Columns.h"
#include "inspect/kinds/KernelTaps.h"
#include "inspect/kinds/Kinds.h"
#include "inspect/kinds/Words.h"

namespace vorun::inspect::kinds {
namespace {

struct Kernel {
    explicit Kernel(const LayerRecord& record)
        : frames(record.tensors[0].dim(0)),
          height(record.tensors[0].dim(1)),
          inChannels(record.tensors[0].dim(2)),
          outChannels(record.tensors[0].dim(3)) {}

    std::int64_t frames;
    std::int64_t height;
    std::int64_t inChannels;
    std::int64_t outChannels;
};

void checkChannels(const Kernel& kernel, std::int64_t channels, bool isDepthwise, Flow& flow) {
    if (isDepthwise && (channels == 0 || kernel.outChannels % channels != 0)) {
        flow.faults.push_back("makes " + counted(kernel.outChannels, "channel") +
                              " one by one, which is no multiple of the " +
                              std::to_string(channels) + " that it gets");
    } else if (!isDepthwise && channels != kernel.inChannels) {
        flow.faults.push_back("takes " + counted(kernel.inChannels, "channel") + ", but gets " +
                              std::to_string(channels));
    }
}

/** Whether the rows of the history are columns as they stand, of several sums each. */
bool hasRowsAsColumns(const Kernel& kernel, const LayerRecord& record) {
    return kernel.inChannels == 1 && record.heightStride == 1 &&
           kernel.outChannels % widestRegister != 1;
}

/** What the layer keeps for the channels that it sums from rows of its history. */
void addRowSums(const Kernel& kernel, const Frames& in, Flow& flow) {
    constexpr std::int64_t endless = std::int64_t{1} << 20;
    const std::int64_t channels = columnChannels(kernel.outChannels, endless);
    if (in.channels == 1 && hasColumnsFor(in.height)) {
        flow.outputValues += product({channels, in.height});
    }
}

/** What the layer keeps for the channels that it sums by column. */
void addColumns(const Kernel& kernel, const LayerRecord& record, const Frames& in,
                std::int64_t historyLength, Flow& flow) {
    if (record.tensors[0].values > 0 && hasRowsAsColumns(kernel, record)) {
        addRowSums(kernel, in, flow);
        return;
    }
    const bool hasColumns = record.tensors[0].values > 0 && record.timeStride == 1 &&
                            (kernel.frames == 1 || record.timeDilation > 0);
    if (!hasColumns) {
        return;
    }
    const std::int64_t channels =
        columnChannels(kernel.outChannels, product({kernel.height, kernel.inChannels}));
    flow.arrangedValues = product({kernel.frames, kernel.height, kernel.inChannels, channels});
    const std::int64_t sums = product({historyLength, channels, flow.output.height});
    const std::int64_t columns = columnValues(in.height, kernel.inChannels, record.heightStride);
    if (channels > 0 && in.channels == kernel.inChannels && hasColumnsFor(flow.output.height) &&
        std::max(sums, columns) <= mostColumnValues) {
        flow.waitingSums = sums;
        flow.outputValues += columns;
    }
}

}  // namespace

void readConvolution(RecordReader& reader, LayerRecord& record) {
    record.tensors.push_back(reader.readTensor("weights"));
    record.tensors.push_back(reader.readTensor("bias"));
    reader.readStrides(record);
}

Flow followConvolution(const LayerRecord& record, const std::vector<Frames>& inputs) {
    const Kernel kernel(record);
    const Frames& in = inputs.front();
    const bool isDepthwise = kernel.inChannels == 1 && in.channels != 1;
    const std::int64_t heightStride = std::max(record.heightStride, 1);
    Flow flow;
    flow.output = {in.height / heightStride, kernel.outChannels,
                   in.rate.times(1, record.timeStride)};
    flow.remark = isDepthwise ? "depthwise" : "";
    checkChannels(kernel, in.channels, isDepthwise, flow);
    const std::int64_t historyLength =
        std::max<std::int64_t>((kernel.frames - 1) * record.timeDilation + 1, 0);
    flow.historyValues =
        product({historyLength, in.height, isDepthwise ? kernel.outChannels : in.channels});
    flow.outputValues = product({flow.output.height, kernel.outChannels});
    addColumns(kernel, record, in, historyLength, flow);
    if (record.tensors[0].values > 0) {
        const double taps =
            tapsInside({flow.output.height, in.height, kernel.height, heightStride});
        flow.multiplyAdds = taps * static_cast<double>(kernel.frames) *
                            static_cast<double>(isDepthwise ? 1 : kernel.inChannels) *
                            static_cast<double>(kernel.outChannels) /
                            static_cast<double>(std::max(record.timeStride, 1));
    }
    return flow;
}

std::string describeConvolution(const LayerRecord& record) {
    const Kernel kernel(record);
    return "kernel " + counted(kernel.frames, "frame") + " x " + counted(kernel.height, "bin") +
           ", " + std::to_string(kernel.inChannels) + " to " +
           counted(kernel.outChannels, "channel") + strideWords(record) +
           biasWords(record.tensors[1]);
}

}  // namespace vorun::inspect::kinds
