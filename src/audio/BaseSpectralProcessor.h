#pragma once

#include <cstdint>
#include <list>

#include "audio/BaseAudioProcessor.h"
#include "audio/ComplexSignal32.h"
#include "audio/RealFft.h"
#include "audio/SampleQueue.h"
#include "audio/Signal32.h"

namespace vorun {

/**
 * Short-time analysis and overlap-add around one hook.
 *
 * With transform N, window W, hop H (samples) and P = 0 for the symmetric scheme (W < 3 H), 1 for
 * the low-latency scheme, in input samples since reset():
 *
 *     primer: W - (P + 1) H silent samples
 *     |-----------------|x0                       x: input
 *     |<-------------- frame 0: W -------------->|
 *           |<-------------- frame 1: W -------------->|
 *     |< H >|                              ^           ^
 *               frame 0 complete after (P + 1) H   frame 1 after (P + 2) H input samples
 *
 * The last H samples of frame 0 are x[P H .. (P + 1) H), for P = 1 the H before them x[0 .. H).
 * Output hop f, x[f H .. (f + 1) H), is cut out of two frames, at offsets counted from their start:
 *
 *     symmetric,   W = 2 H:   frame f    . . . [ H .. 2H )          offset W - H
 *                             frame f + 1      [ 0 .. H )  . . .    offset W - 2 H
 *
 *     low latency, W = 4 H:   frame f    . . . . . [ 2H .. 3H ) . . .   offset W - 2 H
 *                             frame f + 1    . . . [  H .. 2H ) . . .   offset W - 3 H
 *             synthesis window, 2 H wide:  |< H     ..     3H >|
 *
 * The low-latency synthesis window stands at (W - 2 H) / 2, so the two schemes of offsets meet for
 * W = 4 H only; any other ratio computes as it stands.
 *
 * Frames shorter than the transform are zero-padded in front. process() is a pass-through until
 * sizes are set. Sizes are to satisfy H > 0 and 2 H <= W <= N, N a power of two; process() raises
 * std::runtime_error where others cannot be framed. One thread at a time.
 */
class BaseSpectralProcessor : public BaseAudioProcessor {
  public:
    /** (P - e + overlapFrames) * H, e being 1 if `blockSize` is a multiple of H; 0 without a hop.
     */
    std::int32_t getLatency(std::int32_t blockSize) const override;

    /** Drops queued samples and pending frames, and primes the queue with silence. */
    void reset() override;

    /**
     * Returns all hops that `input` finishes, possibly none: then a signal of length 0. A block
     * that raises in flight is not taken back; reset() follows.
     */
    Signal32 process(const Signal32& input) override;

    /**
     * The hook: takes a spectrum of the input channels and N / 2 + 1 bins, gives back any number of
     * spectra of as many bins and at least the output channels, oldest first. Each becomes one
     * frame of the overlap-add, so that a hook may hold frames back and hand them out later.
     */
    virtual std::list<ComplexSignal32> processSpectrum(const ComplexSignal32& spectrum) = 0;

    /**
     * Rebuilds the windows from the stored sizes; the arguments are the same sizes, for subclasses.
     * Windows stay as they are while the output layout is not configured.
     */
    virtual void updateFrameSizes(std::int32_t newFftSize, std::int32_t newWindowSize,
                                  std::int32_t newHopSize);

    /** Stores the sizes, rebuilds the windows, and resets. Called once the layouts are in place. */
    void setFrameSizes(std::int32_t newFftSize, std::int32_t newWindowSize,
                       std::int32_t newHopSize);

  protected:
    bool spectralFlag = true;
    std::int32_t fftSize = 0;         // N, samples
    std::int32_t windowSize = 0;      // W, samples
    std::int32_t hopSize = 0;         // H, samples
    std::int32_t synthesisShift = 0;  // P
    std::int32_t overlapFrames = 2;   // Frames summed for each hop.
    Signal32 analysisWindow;          // Input channels, W samples.
    Signal32 synthesisWindow;         // Output channels, W samples, with the inverse's scale.
    RealFft fft;
    std::list<Signal32> frames;  // Waiting for overlap-add; the last W samples of each count.
    SampleQueue inputQueue;

  private:
    void buildSymmetricWindows();
    void buildLowLatencyWindows();
    ComplexSignal32 analyseNextFrame();
    Signal32 takeFrame();
    std::list<Signal32> synthesise(const std::list<ComplexSignal32>& spectra);
    void shapeFrame(Signal32& time) const;
    Signal32 takeFinishedHops();
    void sumOverlap(std::int32_t channel, float* hop) const;
    const float* overlapPart(const Signal32& frame, std::int32_t channel, std::int32_t j) const;
};

}  // namespace vorun
