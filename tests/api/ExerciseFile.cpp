#include "api/ExerciseFile.h"

#include <algorithm>
#include <exception>

#include "api/AllocationMeter.h"
#include "api/ApiModel.h"
#include "api/ApiProcessor.h"

namespace vorun::apitest {
namespace {

void runTensors(ModelHandle* model) {
    static const Shape shapes[] = {{1, 9, 1}, {1, 9, 1}, {2, 9, 1},
                                   {1, 9, 2}, {3, 4, 2}, {1, 1, 1}};
    static const std::vector<float> data(54, 0.25F);
    for (const Shape& shape : shapes) {
        try {
            vorunAddTensor(model, data.data(), 3, shape.data());
            std::int32_t result[3];
            if (vorunGetResultTensorShape(model, 3, result)) {
                std::vector<float> out(static_cast<std::size_t>(result[0]) *
                                       static_cast<std::size_t>(result[1]) *
                                       static_cast<std::size_t>(result[2]));
                vorunGetTensor(model, out.data());
            }
        } catch (const std::exception&) {
            vorunResetModelState(model);
        }
    }
    vorunResetModelState(model);
}

void runAudio(ApiProcessor& processor, int channels) {
    static const Planar input = whiteNoise(2, 24, 1);
    const Planar block(input.begin(), input.begin() + channels);
    processor.set(sensitivityOf(0), 20.0F);
    for (int i = 0; i < 6; ++i) {
        try {
            processor.push(block);
            const int ready = std::min(processor.pending(), 4096);
            if (ready > 0) {
                processor.pull(ready);
            }
        } catch (const std::exception&) {
            processor.reset();
        }
    }
    for (int bus = -1; bus <= processor.busCount() && bus < 20; ++bus) {
        processor.busName(bus);
    }
    processor.info();
    processor.reset();
}

std::size_t growthSince(std::size_t before) {
    return std::max(meter::peakBytes(), before) - before;
}

}  // namespace

Exercise exerciseFile(const TemporaryFile& file) {
    Exercise exercise;
    std::size_t before = meter::liveBytes();
    meter::restartPeak();
    if (ModelHandle* model = vorunCreateModel(file.path().c_str())) {
        exercise.modelLoaded = true;
        exercise.loadBytes = growthSince(before);
        runTensors(model);
        vorunDeleteModel(model);
    }
    exercise.loadBytes =
        std::max(exercise.loadBytes, exercise.modelLoaded ? 0 : growthSince(before));
    exercise.tensorBytes = growthSince(before);
    before = meter::liveBytes();
    meter::restartPeak();
    for (const int channels : {1, 2}) {
        try {
            ApiProcessor processor(file.path(), channels, channels == 1 ? 96000.0 : 48000.0);
            if (processor.created()) {
                exercise.processorCreated = true;
                runAudio(processor, channels);
            }
        } catch (const std::exception&) {
        }
    }
    exercise.audioBytes = growthSince(before);
    return exercise;
}

}  // namespace vorun::apitest
