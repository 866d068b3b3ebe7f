#pragma once

// The records cross the border between compilers, so their layout is fixed. Included from C and
// C++.

#include <assert.h>
#include <stddef.h>

#include "vorun/vorun.h"

static_assert(sizeof(VorunProcessorInfo) == 24, "VorunProcessorInfo");
static_assert(offsetof(VorunProcessorInfo, sampleRate) == 0, "sampleRate");
static_assert(offsetof(VorunProcessorInfo, inputChannels) == 8, "inputChannels");
static_assert(offsetof(VorunProcessorInfo, latency) == 12, "latency");
static_assert(offsetof(VorunProcessorInfo, windowSize) == 16, "windowSize");
static_assert(offsetof(VorunProcessorInfo, hopSize) == 20, "hopSize");

static_assert(sizeof(VorunModelInfo) == 32, "VorunModelInfo");
static_assert(offsetof(VorunModelInfo, sampleRate) == 0, "sampleRate");
static_assert(offsetof(VorunModelInfo, inputChannels) == 8, "inputChannels");
static_assert(offsetof(VorunModelInfo, fftSize) == 12, "fftSize");
static_assert(offsetof(VorunModelInfo, windowSize) == 16, "windowSize");
static_assert(offsetof(VorunModelInfo, hopSize) == 20, "hopSize");
static_assert(offsetof(VorunModelInfo, latency) == 24, "latency");
