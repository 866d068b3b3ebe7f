/**
 * @file vorun.h  The whole interface of VorunEngine, for hosts in C11 or C++20.
 *
 * Conventions of every call:
 *
 * 1. Handles. A creator returns a handle, or null when it fails; the host deletes it once. Null is
 *    accepted by the two deleting functions and, because it does not look at its handle, by
 *    vorunGetParameterRange(); everywhere else it is a fault.
 * 2. Memory. Buffers that a host passes in stay the host's. The engine copies what it needs before
 *    the call returns and keeps no pointer.
 * 3. Threads. A handle has no lock: calls on one handle must not overlap, but for the parameter
 *    calls, which may come from any thread at any time between creation and deletion. Different
 *    handles are independent.
 * 4. Units. Samples are 32-bit floats with full scale at 1.0 by custom, rates are hertz, counts are
 *    samples for each channel.
 * 5. Failure. What a host must expect is a result: null, or false. Anything else (memory ran out, a
 *    network met a tensor that it cannot take) leaves the call as a C++ exception derived from
 *    std::exception; a host in C can only avoid these. After an exception a processor must be reset
 *    before it is used again.
 */
#ifndef VORUN_VORUN_H
#define VORUN_VORUN_H

#include "vorun/parameters.h"
#include "vorun/processor.h"
#include "vorun/tensor_model.h"

#endif
