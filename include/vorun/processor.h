/**
 * @file processor.h  Streams of audio in, restored audio out.
 *
 * Calling order: create; then add, get, the queries and reset in any order; delete once. The
 * general conventions of memory, threads and failure stand in vorun.h.
 */
#ifndef VORUN_PROCESSOR_H
#define VORUN_PROCESSOR_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "vorun/export.h"
#include "vorun/records.h"

/**
 * Creates a processor from one model file.
 *
 * @param modelPath   NUL-terminated path, passed to the platform as it is; read during the call.
 * @param numChannels channels of the stream, in and out, 1 or more. The model's own channel count
 *                    need not match: frames are averaged to mono and spread where it does not.
 * @param sampleRate  rate of the stream in Hz, above 0. Audio is not resampled: a rate other than
 *                    the model's scales the frame sizes by a power of two.
 * @return a handle that the host owns, or null when the file cannot be opened, is refused as a
 *         model, or cannot be framed at this rate and channel count.
 * @throws std::length_error "vector too long" for a negative numChannels, once the model is loaded.
 */
VORUN_FUNCTION ProcessorHandle vorunCreateProcessor(const char* modelPath, int32_t numChannels,
                                                    double sampleRate);

/**
 * Creates a processor from a list of model files. Stems come out of one file whose model has
 * several masks; the models of several files are run side by side but give no audio, because the
 * mix waits for a bus that no model feeds.
 *
 * @param numModels  number of paths. 0 gives null.
 * @param modelPaths that many NUL-terminated paths, read during the call only. All models must
 *                   agree in window, hop, rate and channels.
 * @return as vorunCreateProcessor().
 * @throws std::length_error "vector too long" for a negative numModels or numChannels.
 */
VORUN_FUNCTION ProcessorHandle vorunCreateStemSeparator(int32_t numModels,
                                                        const char* const* modelPaths,
                                                        int32_t numChannels, double sampleRate);

/** Ends a processor and frees all it holds. Null is accepted. */
VORUN_FUNCTION void vorunDeleteProcessor(ProcessorHandle processor);

/**
 * Pushes one block, and runs every frame that it completes before returning.
 *
 * @param channels   one pointer for each channel of the stream, each to numSamples floats.
 * @param numSamples any length; 0 and negative counts add nothing. Multiples of the hop give the
 *                   smallest delay. What becomes ready never depends on how the stream was cut into
 *                   blocks.
 * @throws std::exception when memory runs out or a network gives what its file did not promise.
 *         Frames in flight are lost; reset before using the processor again.
 */
VORUN_FUNCTION void vorunAddAudio(ProcessorHandle processor, const float* const* channels,
                                  int32_t numSamples);

/** As vorunAddAudio(), from numSamples x channels floats, the channels of one sample side by side.
 */
VORUN_FUNCTION void vorunAddAudioInterleaved(ProcessorHandle processor, const float* samples,
                                             int32_t numSamples);

/**
 * Pulls restored samples. Output sample k is the restored input sample k: the stream has no leading
 * silence. The last samples of a recording come out once the host has pushed silence behind them.
 *
 * @param channels   one pointer for each channel, each with room for numSamples floats.
 * @param numSamples at most vorunGetNumOfPendingSamples(), and not negative. 0 writes nothing and
 * is true at any time.
 * @return false, with nothing consumed and nothing written, if fewer samples are pending. Part of a
 *         request is never delivered.
 */
VORUN_FUNCTION bool vorunGetAudio(ProcessorHandle processor, float* const* channels,
                                  int32_t numSamples);

/** As vorunGetAudio(), into numSamples x channels floats, the channels of one sample side by side.
 */
VORUN_FUNCTION bool vorunGetAudioInterleaved(ProcessorHandle processor, float* samples,
                                             int32_t numSamples);

/**
 * Samples for each channel that can be pulled now: the low 32 bits of the count, so a host must not
 * leave 2^31 samples lying.
 */
VORUN_FUNCTION int32_t vorunGetNumOfPendingSamples(ProcessorHandle processor);

/** Buses that are mixed into the output, the residual (the last one) included. */
VORUN_FUNCTION int32_t vorunGetNumOfOutputBusses(ProcessorHandle processor);

/**
 * Writes the name of a bus, such as "Processed" or "Residual".
 *
 * @param busIndex 0 up to the number of buses less 1. The number of buses itself gives an empty
 *                 name; other indices wrap around.
 * @param name     nameSize bytes, all of them written: a shorter name is followed by zeros, one of
 *                 nameSize bytes or more is cut and has no terminating NUL.
 */
VORUN_FUNCTION void vorunGetOutputBusName(ProcessorHandle processor, int32_t busIndex, char* name,
                                          int32_t nameSize);

/** Fills a record about the processor and its first model. For set-up, not the audio thread. */
VORUN_FUNCTION void vorunGetProcessorInfo(ProcessorHandle processor, VorunProcessorInfo* info);

#ifdef __cplusplus
/**
 * Fills a record about a model that vorunCreateModel() returned.
 *
 * @param model a ModelHandle, not a processor.
 */
VORUN_API void vorunGetProcessorInfo(void* model, VorunModelInfo* info);
#endif

/** Drops all audio inside and starts the stream as if new. Parameters keep their values. */
VORUN_FUNCTION void vorunResetProcessorState(ProcessorHandle processor);

#endif
