#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "restore/AudioInput.h"
#include "restore/FileFormat.h"
#include "restore/OutputFile.h"
#include "restore/SampleConversion.h"

namespace vorun::restore {

/** Writes a recording of interleaved floats; the file gets its name in finish() only. */
class AudioOutput {
  public:
    /**
     * @param format container and sample format in libsndfile's numbers, as outputFormat() gives
     * it.
     * @throws HostError cannotCreateOutput.
     */
    AudioOutput(const std::string& path, int format, const StreamShape& shape);

    /** Takes over title, artist and their like, and the channel map. Before the first write(). */
    void copyTags(const AudioInput& input);

    /** @throws HostError writeFailed. */
    void write(const std::vector<float>& samples);
    /** @throws HostError writeFailed. */
    void finish();

    /** Samples limited to the range of an integer sample format. */
    std::int64_t clippedSamples() const;

  private:
    void checkWritten(bool complete) const;

    std::string path_;
    std::size_t channels_;
    // The order matters: libsndfile writes the end of the file into target_ when it closes.
    OutputFile target_;
    SoundFile file_;
    std::optional<IntegerConversion> conversion_;
    std::vector<std::int32_t> integers_;
};

}  // namespace vorun::restore
