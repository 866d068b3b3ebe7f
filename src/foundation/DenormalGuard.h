#pragma once

namespace vorun {

/**
 * While it lives, the calling thread's SSE arithmetic takes denormal numbers for zero, both as
 * operands and as results; the mode that was set before comes back with its end.
 *
 * Many processors compute with denormals in microcode, a hundred times slower than otherwise, so
 * that a stream fading into silence could miss its deadline. Only the costly stages of the audio
 * path use this, the transforms and the networks: what they drop lies below 1.2e-38, some 750 dB
 * under full scale. Masks are shaped and mixed, and tensors of a host run, with denormals as they
 * are.
 */
class DenormalGuard {
  public:
    DenormalGuard() noexcept;
    ~DenormalGuard();
    DenormalGuard(const DenormalGuard&) = delete;
    DenormalGuard& operator=(const DenormalGuard&) = delete;

  private:
    unsigned int previousMode_;
};

}  // namespace vorun
