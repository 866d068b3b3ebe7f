#include "audio/ChannelLayout.h"

#include <array>
#include <cstddef>
#include <stdexcept>

namespace vorun {

namespace {

const std::array<std::vector<std::int32_t>, 10>& customarySpeakers() {
    static const std::array<std::vector<std::int32_t>, 10> byChannelCount = {{
        {1},
        {2, 3},
        {2, 3, 4},
        {2, 3, 6, 7},
        {2, 3, 4, 6, 7},
        {2, 3, 4, 5, 6, 7},
        {2, 3, 4, 6, 7, 11, 12},
        {2, 3, 4, 5, 6, 7, 11, 12},
        {2, 3, 4, 6, 7, 11, 12, 20, 21},
        {2, 3, 4, 5, 6, 7, 11, 12, 20, 21},
    }};
    return byChannelCount;
}

std::vector<std::int32_t> speakerIdsFor(std::int32_t count) {
    if (count < 0) {
        throw std::length_error("vector too long");
    }
    const auto channels = static_cast<std::size_t>(count);
    const auto& customary = customarySpeakers();
    if (channels >= 1 && channels <= customary.size()) {
        return customary[channels - 1];
    }
    return std::vector<std::int32_t>(channels, 0);
}

}  // namespace

ChannelLayout ChannelLayout::forChannelCount(std::int32_t count) {
    ChannelLayout layout;
    layout.speakerIds = speakerIdsFor(count);
    layout.speakers.reserve(layout.speakerIds.size());
    for (const std::int32_t id : layout.speakerIds) {
        layout.speakers.push_back(std::make_shared<SpeakerDescription>(id));
    }
    return layout;
}

}  // namespace vorun
