#include <algorithm>

#include "inspect/RecordReader.h"
#include "inspect/kinds/Columns.h"
#include "inspect/kinds/KernelTaps.h"
#include "inspect/kinds/Kinds.h"
#include "inspect/kinds/Words.h"

namespace vorun::inspect::kinds {
namespace {

constexpr std::int32_t firstVersionWithOutChannels = 4104;

struct Kernel {
    explicit Kernel(const LayerRecord& record)
        : frames(record.tensors[0].dim(0)),
          height(record.tensors[0].dim(1)),
          outChannels(record.tensors[0].dim(2)),
          inChannels(record.tensors[0].dim(3)) {}

    std::int64_t frames;
    std::int64_t height;
    std::int64_t outChannels;
    std::int64_t inChannels;
};

bool isDepthwise(const Kernel& kernel, const LayerRecord& record) {
    return kernel.outChannels == 1 && record.outChannels != 1;
}

/** Whether each output frame is summed at once from the input frames that reach it. */
bool gathers(const Kernel& kernel, const LayerRecord& record) {
    constexpr std::int64_t few = 16;
    const bool depthwise = isDepthwise(kernel, record);
    const std::int64_t fed = depthwise ? kernel.inChannels : kernel.outChannels;
    return record.heightStride > 0 && fed == record.outChannels &&
           kernel.frames >= record.timeStride && (depthwise || kernel.inChannels <= few);
}

/**
 * What the layer keeps for that: the frames, as they are or turned round, narrow outputs, and one
 * frame for an irregular stream.
 */
void addGathered(const Kernel& kernel, const LayerRecord& record, const Frames& in, Flow& flow) {
    constexpr std::int64_t endless = std::int64_t{1} << 20;
    const std::int64_t depth = (kernel.frames - 1) / std::max(record.timeStride, 1) + 1;
    const std::int64_t frames = product({depth, in.height, kernel.inChannels});
    constexpr std::int64_t most = std::int64_t{1} << 22;
    if (frames > most) {
        return;
    }
    const std::int64_t channels = isDepthwise(kernel, record) || !hasColumnsFor(in.height)
                                      ? 0
                                      : columnChannels(kernel.outChannels, endless);
    const bool turnsFrames = channels > 0 && kernel.inChannels > 1;
    const bool sumsByChannel = channels < kernel.outChannels;
    flow.historyValues += (turnsFrames ? frames : 0) + (!turnsFrames || sumsByChannel ? frames : 0);
    flow.outputValues += product({record.heightStride, channels, in.height}) +
                         product({in.height, kernel.inChannels});
}

/** What it keeps to sum the last channels of the open output frames by column. */
void addColumns(const Kernel& kernel, const LayerRecord& record, const Frames& in, Flow& flow) {
    const std::int64_t heightStride = std::max(record.heightStride, 0);
    const std::int64_t columns = columnValues(in.height, kernel.inChannels, 1);
    // Of the kernel's bins, one in a stride meets the same output bin.
    const std::int64_t met = (kernel.height - 1) / std::max<std::int64_t>(heightStride, 1) + 1;
    const std::int64_t channels =
        columnChannels(kernel.outChannels, product({met, kernel.inChannels}));
    if (isDepthwise(kernel, record) || channels == 0 || !hasColumnsFor(in.height) ||
        columns > mostColumnValues) {
        return;
    }
    flow.outputValues += columns;
    const bool isAlone = channels == record.outChannels && channels * heightStride > 1;
    const std::int64_t planes =
        isAlone ? product({kernel.frames, heightStride, channels, in.height}) : 0;
    flow.outputValues += planes <= mostColumnValues ? planes : 0;
}

}  // namespace

void readTransposed(RecordReader& reader, LayerRecord& record) {
    record.tensors.push_back(reader.readTensor("weights"));
    record.tensors.push_back(reader.readTensor("bias"));
    record.outChannels = static_cast<std::int32_t>(Kernel(record).outChannels);
    if (reader.version() >= firstVersionWithOutChannels) {
        record.outChannels = reader.plain().ReadInt16();
    }
    reader.readStrides(record);
}

Flow followTransposed(const LayerRecord& record, const std::vector<Frames>& inputs) {
    const Kernel kernel(record);
    const Frames& in = inputs.front();
    const std::int64_t timeStride = std::max(record.timeStride, 1);
    // A stride of 0 loads, and gives frames without bins.
    const std::int64_t heightStride = std::max(record.heightStride, 0);
    const std::int64_t outChannels = std::max(record.outChannels, 0);
    Flow flow;
    flow.output = {in.height * heightStride, outChannels, in.rate.times(timeStride, 1)};
    flow.remark = isDepthwise(kernel, record) ? "depthwise" : "";
    if (in.channels != kernel.inChannels) {
        flow.faults.push_back("takes " + counted(kernel.inChannels, "channel") + ", but gets " +
                              std::to_string(in.channels));
    }
    const std::int64_t ringFrames = std::max(kernel.frames, timeStride);
    const std::int64_t waitingFrames = timeStride - 1;
    flow.historyValues = product({ringFrames + waitingFrames, flow.output.height, outChannels});
    flow.outputValues = product({flow.output.height, outChannels});
    if (record.tensors[0].values > 0) {
        flow.arrangedValues =
            product({kernel.frames, kernel.height, kernel.outChannels, kernel.inChannels});
        if (gathers(kernel, record)) {
            addGathered(kernel, record, in, flow);
        } else {
            addColumns(kernel, record, in, flow);
        }
        const double taps =
            tapsInside({in.height, flow.output.height, kernel.height, heightStride});
        flow.multiplyAdds = taps * static_cast<double>(kernel.frames) *
                            static_cast<double>(kernel.outChannels) *
                            static_cast<double>(kernel.inChannels);
    }
    return flow;
}

std::string describeTransposed(const LayerRecord& record) {
    const Kernel kernel(record);
    return "kernel " + counted(kernel.frames, "frame") + " x " + counted(kernel.height, "bin") +
           ", " + std::to_string(kernel.inChannels) + " to " +
           counted(record.outChannels, "channel") + strideWords(record) +
           biasWords(record.tensors[1]);
}

}  // namespace vorun::inspect::kinds
