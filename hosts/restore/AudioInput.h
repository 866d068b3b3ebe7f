#pragma once

#include <cstdint>
#include <memory>
#include <sndfile.h>
#include <string>
#include <vector>

#include "restore/FileFormat.h"

namespace vorun::restore {

struct SoundFileCloser {
    void operator()(SNDFILE* file) const { sf_close(file); }
};
using SoundFile = std::unique_ptr<SNDFILE, SoundFileCloser>;

/** Reads a recording from front to back as interleaved floats with full scale at 1. */
class AudioInput {
  public:
    /** @throws HostError cannotReadInput, or notAudio. */
    explicit AudioInput(const std::string& path);

    const StreamShape& shape() const { return shape_; }
    SNDFILE* file() const { return file_.get(); }

    /**
     * Replaces `samples` by up to `count` samples of each channel; none at the end. Samples that
     * are not finite are read as 0.
     *
     * @throws HostError notAudio when the file turns out to be damaged.
     */
    void read(std::int32_t count, std::vector<float>& samples);

    /** Samples read as 0 because they were not finite. */
    std::int64_t nonFiniteSamples() const { return nonFiniteSamples_; }

    /**
     * After the last read(): a warning for a file that holds less than its header promises; empty
     * if all is there.
     */
    std::string earlyEnd() const;

  private:
    std::string path_;
    StreamShape shape_;
    SoundFile file_;
    std::int64_t samplesRead_ = 0;
    std::int64_t nonFiniteSamples_ = 0;
};

}  // namespace vorun::restore
