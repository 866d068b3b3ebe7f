#include <chrono>
#include <cmath>
#include <future>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

#include "ResamplerTestSupport.h"

namespace vorun {
namespace {

using test::layoutOf;
using test::Resampler;

constexpr auto kMoment = std::chrono::milliseconds(20);

/** Its reset, once armed, waits in the middle of a prepare until it is let go. */
class HeldInReset : public SampleRateConversion {
  public:
    void reset() override {
        if (armed) {
            armed = false;
            entered.set_value();
            release.get_future().wait();
        }
        SampleRateConversion::reset();
    }

    std::future<bool> startPrepare(double inputRate, double outputRate) {
        armed = true;
        auto prepared = std::async(std::launch::async, [this, inputRate, outputRate] {
            return prepare(layoutOf(1, inputRate), layoutOf(1, outputRate));
        });
        entered.get_future().wait();
        return prepared;
    }

    std::promise<void> release;

  private:
    bool armed = false;
    std::promise<void> entered;
};

TEST(SampleRateConversionThreads, PrepareResetsThroughTheVirtualSlotWithTheLockHeld) {
    HeldInReset resampler;
    resampler.prepare(layoutOf(1, 8000.0), layoutOf(1, 16000.0));
    auto prepared = resampler.startPrepare(48000.0, 16000.0);
    auto processed =
        std::async(std::launch::async, [&] { return resampler.process(Signal32(1, 1000, 0.0F)); });
    auto latency = std::async(std::launch::async, [&] { return resampler.getLatency(1); });
    auto emptied = std::async(std::launch::async, [&] { resampler.SampleRateConversion::reset(); });
    EXPECT_EQ(processed.wait_for(kMoment), std::future_status::timeout);
    EXPECT_EQ(emptied.wait_for(kMoment), std::future_status::timeout);
    EXPECT_EQ(latency.wait_for(kMoment), std::future_status::timeout);
    resampler.release.set_value();
    EXPECT_TRUE(prepared.get());
    EXPECT_EQ(latency.get(), 37);
    emptied.get();
    EXPECT_EQ(processed.get().length(), 321);
}

TEST(SampleRateConversionThreads, AnEmptyBlockDoesNotWaitForTheLock) {
    HeldInReset resampler;
    auto prepared = resampler.startPrepare(48000.0, 16000.0);
    EXPECT_FALSE(resampler.process(Signal32()).hasBuffer());
    EXPECT_FALSE(resampler.process(Signal32(1, 0)).hasBuffer());
    resampler.release.set_value();
    EXPECT_TRUE(prepared.get());
}

TEST(SampleRateConversionThreads, ACallThatRaisesGivesTheLockBack) {
    Resampler resampler;
    EXPECT_THROW(resampler.process(Signal32(1, 100, 0.0F)), std::runtime_error);
    resampler.phases = 3;
    EXPECT_THROW(resampler.prepareRates(48000.0, 16000.0), std::runtime_error);
    resampler.phases = 64;
    auto prepared =
        std::async(std::launch::async, [&] { return resampler.prepareRates(48000.0, 16000.0); });
    ASSERT_EQ(prepared.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    EXPECT_TRUE(prepared.get());
    EXPECT_EQ(resampler.process(Signal32(1, 1000, 0.0F)).length(), 321);
}

TEST(SampleRateConversionThreads, ProcessRunsBesideResetPrepareAndLatency) {
    Resampler resampler(48000.0, 44100.0, 2);
    std::thread other([&] {
        for (int round = 0; round < 40; ++round) {
            resampler.reset();
            EXPECT_TRUE(resampler.prepareRates(48000.0, round % 2 == 0 ? 44100.0 : 16000.0, 2));
            EXPECT_EQ(resampler.getLatency(1), 37);
        }
    });
    const Signal32 block(2, 480, 0.25F);
    int outputs = 0;
    for (int round = 0; round < 200; ++round) {
        const Signal32 out = resampler.process(block);
        outputs += out.length();
        for (std::int32_t c = 0; c < out.channels(); ++c) {
            for (const float sample : test::channelOf(out, c)) {
                EXPECT_LT(std::abs(sample), 0.5F);
            }
        }
    }
    other.join();
    EXPECT_GT(outputs, 0);
}

}  // namespace
}  // namespace vorun
