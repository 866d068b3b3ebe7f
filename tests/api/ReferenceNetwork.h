#pragma once

#include <vector>

#include "api/TestModels.h"

namespace vorun::apitest {

/** Rows by channels, the channel fastest. */
struct Matrix {
    int rows = 0;
    int channels = 0;
    std::vector<double> values;

    Matrix(int rowCount, int channelCount)
        : rows(rowCount), channels(channelCount), values(rowCount * channelCount, 0.0) {}
    double& at(int row, int channel) { return values[row * channels + channel]; }
    double at(int row, int channel) const { return values[row * channels + channel]; }
};

/** Matrices of frames, oldest first. */
using Frames = std::vector<Matrix>;

/** A network that takes frames one at a time, as a processor feeds it. */
class FrameNetwork {
  public:
    FrameNetwork() = default;
    virtual ~FrameNetwork() = default;
    FrameNetwork(const FrameNetwork&) = delete;
    FrameNetwork& operator=(const FrameNetwork&) = delete;

    /** The frames that leave it when one frame enters it. */
    virtual Frames push(const Matrix& frame) = 0;
    virtual void reset() = 0;
};

/**
 * A chain of layers in double precision from the definitions: a convolution keeps every frame it
 * ever saw and sums over its kernel at each output position.
 */
class ReferenceNetwork : public FrameNetwork {
  public:
    explicit ReferenceNetwork(Network network);

    /** The frames that leave the chain when one frame enters it: none or one. */
    Frames push(const Matrix& frame) override;
    void reset() override;

  private:
    Frames runStage(std::size_t stage, const Matrix& frame);

    Network network_;
    /** For each stage, the frames that entered it. */
    std::vector<Frames> histories_;
};

}  // namespace vorun::apitest
