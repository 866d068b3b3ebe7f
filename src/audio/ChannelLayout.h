#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/SpeakerDescription.h"

namespace vorun {

/** What the channels of a stream are, and at what rate it runs. */
struct ChannelLayout {
    /**
     * The customary speakers for 1 to 10 channels, undefined speakers for any other count. The rate
     * stays 0, for the caller to set. Raises std::length_error "vector too long" for a negative
     * count.
     */
    static ChannelLayout forChannelCount(std::int32_t count);

    /** Whether a stream can run on it: at least one channel, and a rate above 0. */
    bool isConfigured() const noexcept { return !speakerIds.empty() && sampleRate > 0.0; }

    std::int32_t channelCount() const noexcept {
        return static_cast<std::int32_t>(speakerIds.size());
    }

    std::vector<std::int32_t> speakerIds;                       ///< One for each channel.
    std::vector<std::shared_ptr<SpeakerDescription>> speakers;  ///< One for each id, same order.
    double sampleRate = 0.0;  ///< Hertz; not above 0 means not configured.
};

}  // namespace vorun
