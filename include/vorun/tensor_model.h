/**
 * @file tensor_model.h  A model run directly on tensors, with no audio framing.
 *
 * Calling order: create once; then rounds of vorunAddTensor(), vorunGetResultTensorShape() and
 * vorunGetTensor(), with vorunResetModelState() anywhere between; delete once. Successive tensors
 * form one stream. The general conventions of memory, threads and failure stand in vorun.h.
 */
#ifndef VORUN_TENSOR_MODEL_H
#define VORUN_TENSOR_MODEL_H

#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "vorun/export.h"
#include "vorun/records.h"

/**
 * Loads a model file.
 *
 * @param path NUL-terminated path, passed to the platform as it is.
 * @return a handle that the host owns, or null when the file is missing or refused.
 */
VORUN_FUNCTION ModelHandle* vorunCreateModel(const char* path);

/** Ends a model and frees all it holds. Null is accepted. */
VORUN_FUNCTION void vorunDeleteModel(ModelHandle* model);

/**
 * Runs the network on one tensor and keeps what came out; an earlier result is gone, even when
 * nothing came out.
 *
 * @param data  the elements, row-major with the last dimension fastest; as many floats as the
 *              product of shape.
 * @param rank  number of dimensions. Networks take 3: frames, height (feature rows), channels.
 * @param shape rank dimensions, none negative.
 * @throws std::length_error "vector too long" for a negative rank; std::runtime_error when a
 *         dimension is negative, when the elements cannot be counted in 31 bits, when data is null
 *         ("IPP exception: ..."), for more than 65536 frames without elements, and when a layer
 *         cannot take the shape.
 */
VORUN_FUNCTION void vorunAddTensor(ModelHandle* model, const float* data, int32_t rank,
                                   const int32_t* shape);

/**
 * Writes the shape of the latest result.
 *
 * @param rank the rank that the caller expects: 3, or 0 to ask whether there is no result.
 * @return false, with nothing written, if the result has another rank.
 */
VORUN_FUNCTION bool vorunGetResultTensorShape(ModelHandle* model, int32_t rank, int32_t* shape);

/**
 * Copies the latest result, which stays and can be copied again.
 *
 * @param out room for as many floats as the product of the result's shape.
 * @return false, with nothing written, if there is no result or it has no elements.
 */
VORUN_FUNCTION bool vorunGetTensor(ModelHandle* model, float* out);

/** Clears the history of the network. The latest result stays. */
VORUN_FUNCTION void vorunResetModelState(ModelHandle* model);

#endif
