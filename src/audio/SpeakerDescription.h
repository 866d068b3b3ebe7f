#pragma once

#include <cstdint>
#include <string>

namespace vorun {

/** Where one channel is heard. A speaker id outside 1 to 21 reads "N/A", "Undefined". */
struct SpeakerDescription {
    explicit SpeakerDescription(std::int32_t speakerId);

    std::int32_t id;        ///< As given, also outside the table.
    float x;                ///< Left is negative, right positive.
    float y;                ///< Front is positive, rear negative.
    float z;                ///< 1 in the top layer, else 0.
    float cutoff;           ///< Hertz for the low-frequency speaker, -1 for all others.
    std::string shortName;  ///< Abbreviation.
    std::string name;       ///< Full name.
};

}  // namespace vorun
