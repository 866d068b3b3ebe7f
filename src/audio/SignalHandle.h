#pragma once

#include <cstdint>
#include <memory>

#include "audio/SignalData.h"

namespace vorun {

/**
 * What all signal handles share: a value over a shared, copy-on-write buffer.
 *
 * Copying a handle shares the samples; the first write through a handle whose buffer is shared
 * makes a private copy. An empty handle has no buffer and is safe in every operation. One handle is
 * used by one thread at a time; two handles on one buffer may be read on two threads.
 *
 * A shape for which no block could be had (negative, or beyond 2 GiB) constructs; every access to
 * its samples then raises "IPP exception: ippStsNullPtrErr: Null pointer error".
 */
template <class T>
class SignalHandle {
  public:
    SignalHandle() = default;
    SignalHandle(std::int32_t channels, std::int32_t length);
    SignalHandle(const SignalHandle&) = default;
    SignalHandle& operator=(const SignalHandle&) = default;
    SignalHandle(SignalHandle&& other) noexcept;
    SignalHandle& operator=(SignalHandle&& other) noexcept;
    ~SignalHandle() = default;

    /** 0 in an empty handle. */
    std::int32_t channels() const noexcept { return channels_; }
    /** Samples (bins) per channel; 0 in an empty handle. */
    std::int32_t length() const noexcept { return length_; }
    bool hasBuffer() const noexcept { return data_ != nullptr; }
    /** Handles on this buffer; 0 in an empty handle. */
    long useCount() const noexcept { return data_.use_count(); }
    /** Elements between channels; 0 in an empty handle. */
    std::int32_t stride() const noexcept { return data_ ? data_->stride : 0; }
    bool sharesBufferWith(const SignalHandle& other) const noexcept { return data_ == other.data_; }

    /** Makes the buffer this handle's own, by a clone if another handle shares it. */
    void detach();

    /**
     * Samples of one channel for reading; never copies. Null if the shape has no samples. Raises
     * std::runtime_error for a channel outside the signal and for a missing block.
     */
    const T* readData(std::int32_t channel) const;

    /** As readData(), for writing: detaches first. */
    T* channelData(std::int32_t channel);

    /**
     * Detaches, and gives an array of one writable pointer for each channel, in the shape that the
     * planar exports take. The array lives as long as this handle stays on its buffer. Null if the
     * shape has no samples.
     */
    T* const* channelPointers();

  protected:
    bool hasSamples() const noexcept;

    /** Raises std::runtime_error unless `other` covers every sample of this signal's shape. */
    void requireCoveredBy(const SignalHandle& other) const;

  private:
    T* channelStart(std::int32_t channel) const;

    std::int32_t channels_ = 0;
    std::int32_t length_ = 0;
    std::shared_ptr<SignalData<T>> data_;
};

}  // namespace vorun
