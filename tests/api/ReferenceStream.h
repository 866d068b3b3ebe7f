#pragma once

#include <complex>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "api/HostFrame.h"
#include "api/ReferenceMix.h"
#include "api/ReferenceNetwork.h"
#include "api/Samples.h"
#include "api/TestModels.h"

namespace vorun::apitest {

/**
 * The whole path of one processor in double precision, slow and plain: frames are cut from the
 * complete input by absolute position, transformed by the definition of the Fourier transform, and
 * summed by absolute position.
 *
 *     frame m covers the input samples  m hop - primer  up to  m hop - primer + window
 *     primer = window - (shift + 1) hop, samples before 0 being silent
 *     output hop f = frame f from offset primer on, plus frame f + 1 from offset primer - hop on
 */
class ReferenceStream {
  public:
    ReferenceStream(const TestModel& model, int hostChannels, double hostRate);
    /** With any network, of which the model's header and its stated latency are told apart. */
    ReferenceStream(const writer::ModelHeader& header, std::unique_ptr<FrameNetwork> network,
                    int latencyFrames, int hostChannels, double hostRate);

    /** Returns what becomes ready. */
    PlanarDouble push(const Planar& block);
    void reset();

    void setGain(int bus, double gain) { values_.gains[bus] = gain; }
    void setSensitivity(int bus, double value) { values_.sensitivities[bus] = value; }
    const HostFrame& frame() const { return frame_; }

  private:
    void makeWindows();
    Spectrum analysed(std::int64_t frameIndex) const;
    void process(const Spectrum& dry);
    PlanarDouble finishedHops();
    std::vector<double> synthesised(const Bins& bins) const;

    writer::ModelHeader header_;
    int channels_;
    HostFrame frame_;
    std::unique_ptr<FrameNetwork> network_;
    BusValues values_;
    std::vector<double> analysisWindow_;
    std::vector<double> synthesisWindow_;
    /** exp(-2 pi j k / N) for k from 0 to N - 1. */
    Bins roots_;
    Planar input_;
    std::int64_t framesAnalysed_ = 0;
    std::deque<Spectrum> dry_;
    /** Windowed frames of the output, for each channel. */
    std::deque<PlanarDouble> finished_;
};

}  // namespace vorun::apitest
