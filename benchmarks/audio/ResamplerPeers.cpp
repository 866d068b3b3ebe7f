#include "ResamplerPeers.h"

#include <algorithm>
#include <cstdint>
#include <stdexcept>

#include "audio/SampleRateConversion.h"

#ifdef VORUN_HAVE_SOXR
#include <soxr.h>
#endif
#ifdef VORUN_HAVE_SAMPLERATE
#include <samplerate.h>
#endif
#ifdef VORUN_HAVE_SPEEXDSP
#include <speex/speex_resampler.h>
#endif

namespace vorun::benchmarks {

namespace {

class VorunResampler : public StreamResampler {
  public:
    VorunResampler(int inputRate, int outputRate) {
        ChannelLayout input = ChannelLayout::forChannelCount(1);
        ChannelLayout output = input;
        input.sampleRate = inputRate;
        output.sampleRate = outputRate;
        resampler_.prepare(input, output);
    }

    void process(const float* input, std::size_t count, std::vector<float>& output) override {
        Signal32 block(1, static_cast<std::int32_t>(count));
        std::copy_n(input, count, block.channelData(0));
        const Signal32 ready = resampler_.process(block);
        if (ready.length() > 0) {
            const float* samples = ready.readData(0);
            output.insert(output.end(), samples, samples + ready.length());
        }
    }

  private:
    SampleRateConversion resampler_;
};

#if defined(VORUN_HAVE_SOXR) || defined(VORUN_HAVE_SAMPLERATE) || defined(VORUN_HAVE_SPEEXDSP)
template <class State>
State* madeOrRaise(State* state) {
    if (state == nullptr) {
        throw std::runtime_error("a resampler could not be made");
    }
    return state;
}

/** Room for what a block can give, behind what `output` holds; cut to size by the next call. */
class OutputRoom {
  public:
    OutputRoom(std::vector<float>& output, std::size_t inputCount, double outputsPerInput)
        : output_(output),
          used_(output.size()),
          free_(static_cast<std::size_t>(static_cast<double>(inputCount) * outputsPerInput) +
                4096) {
        output_.resize(used_ + free_);
    }

    float* start() { return output_.data() + used_; }
    std::size_t size() const { return free_; }
    void keep(std::size_t count) { output_.resize(used_ + count); }

  private:
    std::vector<float>& output_;
    std::size_t used_;
    std::size_t free_;
};
#endif

#ifdef VORUN_HAVE_SOXR
class SoxrResampler : public StreamResampler {
  public:
    SoxrResampler(int inputRate, int outputRate, unsigned long quality)
        : outputsPerInput_(static_cast<double>(outputRate) / inputRate) {
        const soxr_quality_spec_t spec = soxr_quality_spec(quality, 0);
        soxr_error_t error = nullptr;
        state_ =
            madeOrRaise(soxr_create(inputRate, outputRate, 1, &error, nullptr, &spec, nullptr));
    }
    ~SoxrResampler() override { soxr_delete(state_); }

    void process(const float* input, std::size_t count, std::vector<float>& output) override {
        OutputRoom room(output, count, outputsPerInput_);
        std::size_t taken = 0;
        std::size_t given = 0;
        soxr_process(state_, input, count, &taken, room.start(), room.size(), &given);
        room.keep(given);
    }

  private:
    double outputsPerInput_;
    soxr_t state_ = nullptr;
};
#endif

#ifdef VORUN_HAVE_SAMPLERATE
class LibsamplerateResampler : public StreamResampler {
  public:
    LibsamplerateResampler(int inputRate, int outputRate, int quality)
        : outputsPerInput_(static_cast<double>(outputRate) / inputRate) {
        int error = 0;
        state_ = madeOrRaise(src_new(quality, 1, &error));
    }
    ~LibsamplerateResampler() override { src_delete(state_); }

    void process(const float* input, std::size_t count, std::vector<float>& output) override {
        OutputRoom room(output, count, outputsPerInput_);
        SRC_DATA data{};
        data.data_in = input;
        data.input_frames = static_cast<long>(count);
        data.data_out = room.start();
        data.output_frames = static_cast<long>(room.size());
        data.src_ratio = outputsPerInput_;
        src_process(state_, &data);
        room.keep(static_cast<std::size_t>(data.output_frames_gen));
    }

  private:
    double outputsPerInput_;
    SRC_STATE* state_ = nullptr;
};
#endif

#ifdef VORUN_HAVE_SPEEXDSP
class SpeexResampler : public StreamResampler {
  public:
    SpeexResampler(int inputRate, int outputRate, int quality)
        : outputsPerInput_(static_cast<double>(outputRate) / inputRate) {
        int error = 0;
        state_ = madeOrRaise(speex_resampler_init(1, static_cast<spx_uint32_t>(inputRate),
                                                  static_cast<spx_uint32_t>(outputRate), quality,
                                                  &error));
    }
    ~SpeexResampler() override { speex_resampler_destroy(state_); }

    void process(const float* input, std::size_t count, std::vector<float>& output) override {
        OutputRoom room(output, count, outputsPerInput_);
        auto taken = static_cast<spx_uint32_t>(count);
        auto given = static_cast<spx_uint32_t>(room.size());
        speex_resampler_process_float(state_, 0, input, &taken, room.start(), &given);
        room.keep(given);
    }

  private:
    double outputsPerInput_;
    SpeexResamplerState* state_ = nullptr;
};
#endif

template <class Resampler, class... Quality>
ResamplerKind kind(const char* name, Quality... quality) {
    return {name, [quality...](int inputRate, int outputRate) -> std::unique_ptr<StreamResampler> {
                return std::make_unique<Resampler>(inputRate, outputRate, quality...);
            }};
}

}  // namespace

std::vector<ResamplerKind> resamplerKinds() {
    std::vector<ResamplerKind> kinds = {kind<VorunResampler>("vorun")};
#ifdef VORUN_HAVE_SOXR
    kinds.push_back(kind<SoxrResampler>("soxr_low", static_cast<unsigned long>(SOXR_LQ)));
    kinds.push_back(kind<SoxrResampler>("soxr_high", static_cast<unsigned long>(SOXR_HQ)));
    kinds.push_back(kind<SoxrResampler>("soxr_very_high", static_cast<unsigned long>(SOXR_VHQ)));
#endif
#ifdef VORUN_HAVE_SAMPLERATE
    kinds.push_back(kind<LibsamplerateResampler>("libsamplerate_fastest", int{SRC_SINC_FASTEST}));
    kinds.push_back(
        kind<LibsamplerateResampler>("libsamplerate_medium", int{SRC_SINC_MEDIUM_QUALITY}));
    kinds.push_back(kind<LibsamplerateResampler>("libsamplerate_best", int{SRC_SINC_BEST_QUALITY}));
#endif
#ifdef VORUN_HAVE_SPEEXDSP
    kinds.push_back(kind<SpeexResampler>("speexdsp_4", 4));
    kinds.push_back(kind<SpeexResampler>("speexdsp_10", 10));
#endif
    return kinds;
}

}  // namespace vorun::benchmarks
