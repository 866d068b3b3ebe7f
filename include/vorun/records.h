/** @file records.h  Handles and records that hosts and the engine exchange. */
#ifndef VORUN_RECORDS_H
#define VORUN_RECORDS_H

#include <stdint.h>

#ifdef __cplusplus
namespace vorun {
class ProcessorState;
struct ModelHandle;
}  // namespace vorun

/** One stream's processor. Opaque; made by a creator, ended by vorunDeleteProcessor(). */
typedef vorun::ProcessorState* ProcessorHandle;
/** One model run on bare tensors. Opaque; made by vorunCreateModel(), ended by vorunDeleteModel().
 */
typedef vorun::ModelHandle ModelHandle;
#else
typedef struct ProcessorState* ProcessorHandle;
typedef struct ModelHandle ModelHandle;
#endif

/** What vorunGetProcessorInfo() tells about a processor. */
typedef struct VorunProcessorInfo {
    /** Rate in Hz that the first model was trained for; not the host's rate. */
    double sampleRate;
    /** Channels that the first model takes; not the host's channels. */
    int32_t inputChannels;
    /** Samples at the host's rate by which output can trail input, model look-ahead included. */
    int32_t latency;
    /** The first model's window in samples at its own rate. */
    int32_t windowSize;
    /** The first model's hop in samples at its own rate. */
    int32_t hopSize;
} VorunProcessorInfo;

/** What the model form of vorunGetProcessorInfo() tells about a model. */
typedef struct VorunModelInfo {
    /** Rate in Hz that the model was trained for. */
    double sampleRate;
    /** Audio channels that the model takes. */
    int32_t inputChannels;
    /** Transform length in samples at sampleRate. */
    int32_t fftSize;
    /** Analysis window in samples at sampleRate. */
    int32_t windowSize;
    /** Frame advance in samples at sampleRate. */
    int32_t hopSize;
    /** Look-ahead of the network in frames. */
    int32_t latency;
} VorunModelInfo;

#endif
