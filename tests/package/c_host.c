/* A host in C11 that knows nothing but the public headers and links nothing but the library. */

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "RecordLayout.h"

enum { channelCount = 2, hop = 256, streamSamples = 4000, residualGainId = 257 };

static int failures = 0;

static void expectTrue(bool isTrue, const char* text, int line) {
    if (!isTrue) {
        fprintf(stderr, "c_host.c:%d: expected %s\n", line, text);
        ++failures;
    }
}
#define EXPECT(condition) expectTrue((condition), #condition, __LINE__)

/* The creators and what they report ------------------------------------------------------------ */

static ProcessorHandle createStereo(const char* modelPath) {
    ProcessorHandle processor = vorunCreateProcessor(modelPath, channelCount, 48000.0);
    if (processor == NULL) {
        fprintf(stderr, "c_host.c: %s gives no processor\n", modelPath);
        exit(1);
    }
    return processor;
}

static void creatorsReportFailureAsNull(const char* modelPath) {
    EXPECT(vorunCreateProcessor("no such file.model", 1, 48000.0) == NULL);
    EXPECT(vorunCreateStemSeparator(0, NULL, 1, 48000.0) == NULL);
    EXPECT(vorunCreateModel("no such file.model") == NULL);

    ProcessorHandle separator = vorunCreateStemSeparator(1, &modelPath, 1, 48000.0);
    EXPECT(separator != NULL);
    vorunDeleteProcessor(separator);
    vorunDeleteProcessor(NULL);
    vorunDeleteModel(NULL);
}

static void infoDescribesModelAndDelay(const char* modelPath) {
    ProcessorHandle processor = createStereo(modelPath);
    VorunProcessorInfo info;
    memset(&info, 0xff, sizeof info);
    vorunGetProcessorInfo(processor, &info);
    EXPECT(info.sampleRate == 48000.0);
    EXPECT(info.inputChannels == 1);
    EXPECT(info.latency == 2 * hop);
    EXPECT(info.windowSize == 2 * hop);
    EXPECT(info.hopSize == hop);
    vorunDeleteProcessor(processor);
}

static void busesHaveNames(const char* modelPath) {
    ProcessorHandle processor = createStereo(modelPath);
    char name[16];
    EXPECT(vorunGetNumOfOutputBusses(processor) == 2);
    vorunGetOutputBusName(processor, 0, name, sizeof name);
    EXPECT(strcmp(name, "Processed") == 0);
    vorunGetOutputBusName(processor, 1, name, sizeof name);
    EXPECT(strcmp(name, "Residual") == 0);
    vorunGetOutputBusName(processor, 2, name, sizeof name);
    EXPECT(name[0] == '\0');

    memset(name, 'x', sizeof name);
    vorunGetOutputBusName(processor, 0, name, 1);
    EXPECT(name[0] == 'P' && name[1] == 'x');
    vorunDeleteProcessor(processor);
}

static void parametersAreStoredAndRead(const char* modelPath) {
    ProcessorHandle processor = createStereo(modelPath);
    float lowest = 7.0f;
    float highest = 7.0f;
    vorunGetParameterRange(processor, 1, &lowest, &highest);
    EXPECT(lowest == -96.0f && highest == 0.0f);
    lowest = highest = 7.0f;
    vorunGetParameterRange(processor, 3, &lowest, &highest);
    EXPECT(lowest == 7.0f && highest == 7.0f);

    EXPECT(vorunGetParameterValue(processor, residualGainId) == 1.0f);
    vorunSetParameterValue(processor, 1, -6.0f);
    EXPECT(fabsf(vorunGetParameterValue(processor, residualGainId) - 0.50118723f) < 1e-6f);
    EXPECT(fabsf(vorunGetParameterValue(processor, 1) + 6.0f) < 1e-5f);
    vorunDeleteProcessor(processor);
}

/* Audio ------------------------------------------------------------------------------------------
 */

struct Stereo {
    float left[streamSamples];
    float right[streamSamples];
};

static struct Stereo input;
static struct Stereo output;

static float noise(void) {
    static uint32_t state = 1;
    state = state * 1664525u + 1013904223u;
    return (float)(state >> 8) / 8388608.0f - 1.0f;
}

static void fillInput(void) {
    for (int k = 0; k < streamSamples; ++k) {
        input.left[k] = noise();
        input.right[k] = noise();
    }
    memset(&output, 0, sizeof output);
}

/* A frame is complete with every hop that is pushed, and a hop of output needs two frames. */
static int pendingAfter(int pushed) {
    return pushed < hop ? 0 : (pushed / hop - 1) * hop;
}

static bool isScaledInput(int samples, float scale) {
    for (int k = 0; k < samples; ++k) {
        if (fabsf(output.left[k] - scale * input.left[k]) > 1e-5f ||
            fabsf(output.right[k] - scale * input.right[k]) > 1e-5f) {
            fprintf(stderr, "c_host.c: sample %d differs\n", k);
            return false;
        }
    }
    return true;
}

static int pushPlanar(ProcessorHandle processor) {
    static const int blocks[] = {1, 255, 0, 1000, 744, 2000};
    int pushed = 0;
    for (size_t i = 0; i < sizeof blocks / sizeof blocks[0]; ++i) {
        const float* const channels[] = {input.left + pushed, input.right + pushed};
        vorunAddAudio(processor, channels, blocks[i]);
        pushed += blocks[i];
        EXPECT(vorunGetNumOfPendingSamples(processor) == pendingAfter(pushed));
    }
    EXPECT(pushed == streamSamples);
    return vorunGetNumOfPendingSamples(processor);
}

static void planarAudioComesBackAligned(const char* modelPath) {
    ProcessorHandle processor = createStereo(modelPath);
    fillInput();
    const int pending = pushPlanar(processor);
    float* const first[] = {output.left, output.right};
    EXPECT(!vorunGetAudio(processor, first, pending + 1));
    EXPECT(output.left[0] == 0.0f);
    EXPECT(vorunGetAudio(processor, first, 100));
    float* const rest[] = {output.left + 100, output.right + 100};
    EXPECT(vorunGetNumOfPendingSamples(processor) == pending - 100);
    EXPECT(vorunGetAudio(processor, rest, pending - 100));
    EXPECT(vorunGetNumOfPendingSamples(processor) == 0);
    EXPECT(isScaledInput(pending, 1.0f));
    vorunDeleteProcessor(processor);
}

static void interleavedAudioComesBackWithoutResidual(const char* modelPath) {
    static float interleaved[streamSamples * channelCount];
    ProcessorHandle processor = createStereo(modelPath);
    vorunSetParameterValue(processor, residualGainId, 0.0f);
    fillInput();
    for (int k = 0; k < streamSamples; ++k) {
        interleaved[channelCount * k] = input.left[k];
        interleaved[channelCount * k + 1] = input.right[k];
    }
    vorunAddAudioInterleaved(processor, interleaved, streamSamples);
    const int pending = vorunGetNumOfPendingSamples(processor);
    EXPECT(pending == pendingAfter(streamSamples));
    EXPECT(!vorunGetAudioInterleaved(processor, interleaved, pending + 1));
    EXPECT(vorunGetAudioInterleaved(processor, interleaved, pending));
    for (int k = 0; k < pending; ++k) {
        output.left[k] = interleaved[channelCount * k];
        output.right[k] = interleaved[channelCount * k + 1];
    }
    EXPECT(isScaledInput(pending, 0.5f));
    vorunDeleteProcessor(processor);
}

static void resetStartsTheStreamAnew(const char* modelPath) {
    ProcessorHandle processor = createStereo(modelPath);
    vorunSetParameterValue(processor, residualGainId, 0.0f);
    fillInput();
    EXPECT(pushPlanar(processor) > 0);
    vorunResetProcessorState(processor);
    EXPECT(vorunGetNumOfPendingSamples(processor) == 0);
    EXPECT(vorunGetParameterValue(processor, residualGainId) == 0.0f);

    const int pending = pushPlanar(processor);
    float* const channels[] = {output.left, output.right};
    EXPECT(vorunGetAudio(processor, channels, pending));
    EXPECT(isScaledInput(pending, 0.5f));
    vorunDeleteProcessor(processor);
}

/* Tensors ----------------------------------------------------------------------------------------
 */

static void expectResult(ModelHandle* model, const float* data, int volume) {
    float result[6] = {0};
    EXPECT(vorunGetTensor(model, result));
    for (int k = 0; k < volume; ++k) {
        EXPECT(result[k] == 2.0f * data[k] + 1.0f);
    }
}

static void tensorsRunAsOneStream(const char* modelPath) {
    static const float data[] = {0.0f, 1.0f, -2.0f, 3.5f, 4.0f, -5.25f};
    static const int32_t shape[] = {1, 6, 1};
    int32_t resultShape[3] = {0};
    float result[6] = {0};
    ModelHandle* model = vorunCreateModel(modelPath);
    if (model == NULL) {
        fprintf(stderr, "c_host.c: %s gives no model\n", modelPath);
        exit(1);
    }
    EXPECT(!vorunGetTensor(model, result));
    EXPECT(vorunGetResultTensorShape(model, 0, NULL));

    vorunAddTensor(model, data, 3, shape);
    EXPECT(!vorunGetResultTensorShape(model, 3, resultShape));
    vorunAddTensor(model, data, 3, shape);
    EXPECT(vorunGetResultTensorShape(model, 3, resultShape));
    EXPECT(memcmp(shape, resultShape, sizeof shape) == 0);
    expectResult(model, data, 6);
    expectResult(model, data, 6);

    vorunResetModelState(model);
    expectResult(model, data, 6);
    vorunAddTensor(model, data, 3, shape);
    EXPECT(!vorunGetTensor(model, result));
    vorunDeleteModel(model);
}

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: c_host MASK_MODEL TENSOR_MODEL\n");
        return 2;
    }
    creatorsReportFailureAsNull(argv[1]);
    infoDescribesModelAndDelay(argv[1]);
    busesHaveNames(argv[1]);
    parametersAreStoredAndRead(argv[1]);
    planarAudioComesBackAligned(argv[1]);
    interleavedAudioComesBackWithoutResidual(argv[1]);
    resetStartsTheStreamAnew(argv[1]);
    tensorsRunAsOneStream(argv[2]);
    return failures == 0 ? 0 : 1;
}
