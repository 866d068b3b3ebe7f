/**
 * @file parameters.h  Live values of a processor, addressed by one integer.
 *
 * | id      | value                                     | published range | at creation |
 * |---------|-------------------------------------------|-----------------|-------------|
 * | 1       | level of bus 1 in dB; writing also sets    | -96 to 0        | 0           |
 * |         | bus 0 to unity                            |                 |             |
 * | 2       | sensitivity of bus 0                      | -100 to 100     | 0           |
 * | 3       | 0 while bins above the model are filled   | none, read only | 0           |
 * | 256 + i | linear gain of bus i                      | 0 to 100        | 1           |
 * | 512 + i | sensitivity of bus i                      | -100 to 100     | 0           |
 *
 * Buses are numbered as vorunGetOutputBusName() names them; the last bus of a model is its
 * residual. Values exist for i from 0 to 15. For i from 16 to 255 the range is published all the
 * same, but the value reads 0 and writing does nothing. A sensitivity above 0 makes a mask more
 * decisive, one below 0 more permissive.
 *
 * All calls here are lock-free and may come from any thread while audio flows. A new value takes
 * effect with the next frame that is mixed, and survives vorunResetProcessorState().
 */
#ifndef VORUN_PARAMETERS_H
#define VORUN_PARAMETERS_H

#include "vorun/export.h"
#include "vorun/records.h"

/**
 * Writes the published range of a parameter. The range is advice: gains above 100 are stored as
 * they are. For an id without a range neither value is written. The handle is not read.
 */
VORUN_FUNCTION void vorunGetParameterRange(ProcessorHandle processor, int32_t id, float* minValue,
                                           float* maxValue);

/** The value of a parameter; 0 for an unknown id. Id 1 reads between -96 and 0 whatever is stored.
 */
VORUN_FUNCTION float vorunGetParameterValue(ProcessorHandle processor, int32_t id);

/**
 * Stores a parameter. An unknown or read-only id is ignored. Gains are limited to 0 and up,
 * sensitivities to -100 to 100, id 1 to at most 0 dB. A value that is not a number counts as the
 * lower limit.
 */
VORUN_FUNCTION void vorunSetParameterValue(ProcessorHandle processor, int32_t id, float value);

#endif
