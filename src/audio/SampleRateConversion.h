#pragma once

#include <cstdint>
#include <mutex>

#include "audio/BaseAudioProcessor.h"
#include "audio/PolyphaseFilter.h"
#include "audio/SampleQueue.h"
#include "audio/Signal32.h"
#include "audio/Signal64.h"

namespace vorun {

/**
 * Streaming resampler: blocks at the input layout's rate in, blocks at the output layout's rate
 * out. Arithmetic is double precision.
 *
 *     inputQueue after reset():  [ taps / 2 zeros ][ x[0] x[1] x[2] ...
 *                                |<------- taps ------->|
 *                                 ^ position 0, filter centred on x[0]
 *
 * Output sample k is the input at position k * inputRate / outputRate. Equal rates are a pure
 * delay. Blocks may have any length; samples wait until taps + 1 of them and a step of the position
 * are there, so a call may return an empty handle.
 *
 * How a stream is cut into blocks does not change its samples beyond the rounding of the position,
 * which is counted from the block's start: at steps that binary fractions hold, such as 48 to 16 or
 * 32 kHz, they are equal bit for bit. Shorter blocks may hand out up to 1 / step + 1 samples more
 * by a given input sample, the step being the ratio of the rates.
 *
 * One thread may run process() while another calls any other operation.
 */
class SampleRateConversion : public BaseAudioProcessor {
  public:
    /**
     * Designs the filter from the settings below, also where the layouts have not changed, and
     * restarts the stream. False, and nothing changed, if the channel counts differ. Raises
     * std::runtime_error where PolyphaseFilter does, and then changes nothing.
     */
    bool prepare(const ChannelLayout& input, const ChannelLayout& output) override;

    /** taps / 2 + 1 input samples, for blocks of any size. */
    std::int32_t getLatency(std::int32_t blockSize) const override;

    /** Drops what is queued, and primes the queue with silence. */
    void reset() override;

    /**
     * Raises std::runtime_error where the rates give no position to read at (not numbers, 0, or of
     * unequal signs), and for more samples than a block holds. The input of such a call stays
     * queued until reset(). An empty input is answered without waiting for another thread.
     */
    Signal32 process(const Signal32& input) override;

    // Settings, to be made before prepare().
    float filterLengthMs = 1.5f;     ///< Milliseconds at the input rate.
    float bandwidthPercent = 95.0f;  ///< Passband, of the lower rate's Nyquist frequency.
    std::int32_t phases = 64;        ///< Rows of the filter; a power of two.
    bool interpolatePhases = true;   ///< Linearly, between the two nearest rows.

  protected:
    mutable std::recursive_mutex mutex;  ///< Recursive: prepare() holds it while it resets.
    PolyphaseFilter filter;
    SampleQueue inputQueue;
    double position = 0.0;  ///< Input samples from the queue's front; below 1 between calls.

  private:
    std::int32_t readyCount(double ratio) const;
    Signal64 takeWaiting() const;
    void delay(const Signal64& block, Signal64& out);
    void resample(Signal64& block, double ratio, Signal64& out);
    void dropConsumed();
};

}  // namespace vorun
