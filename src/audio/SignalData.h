#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace vorun {

/**
 * Planar multichannel buffer under the signal handles. T is float, double or Ipp32fc.
 *
 *     data                 data + stride          data + 2 * stride
 *     |                    |                      |
 *     [ channel 0 | pad ]  [ channel 1 | pad ]    ...
 *       `length`
 *
 * Each channel starts on a 64-byte boundary. Samples are undefined after construction; those of
 * the padding always are. Shape and block never change; a signal of another size is a new buffer.
 */
template <class T>
class SignalData {
  public:
    /**
     * Takes one block for all channels. A shape without samples, or one of more bytes than a
     * signed 32-bit count holds, leaves `data` null: no failure yet, the first use raises.
     */
    SignalData(std::int32_t channels, std::int32_t length);
    ~SignalData();
    SignalData(const SignalData&) = delete;
    SignalData& operator=(const SignalData&) = delete;

    /** A private copy with the padding. Raises std::runtime_error where a block is missing. */
    std::shared_ptr<SignalData> clone() const;

    /** Whether the shape promises at least one sample. */
    bool hasSamples() const noexcept { return channels > 0 && length > 0; }

    const std::int32_t length;        ///< Samples per channel.
    const std::int32_t channels;      ///< Number of channels.
    const std::int32_t stride;        ///< Elements from one channel's start to the next one's.
    const std::int32_t alignment;     ///< Bytes; always 64.
    T* const data;                    ///< Owned block of stride * channels elements, or null.
    std::vector<T*> channelPointers;  ///< Empty until asked for, then one for each channel.
};

}  // namespace vorun
