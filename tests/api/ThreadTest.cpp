#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "api/ApiModel.h"
#include "api/ApiProcessor.h"
#include "api/StreamRunner.h"
#include "api/TestModels.h"

namespace vorun::apitest {
namespace {

/** Calls `work` round and round on its own thread until destroyed. */
class Repeater {
  public:
    template <class Work>
    explicit Repeater(Work work)
        : thread_([this, work] {
              for (int round = 0; !stopped_; ++round) {
                  work(round);
                  ++rounds_;
              }
          }) {}
    ~Repeater() {
        stopped_ = true;
        thread_.join();
    }
    void waitForRounds(int count) const {
        while (rounds_ < count) {
            std::this_thread::yield();
        }
    }

  private:
    std::atomic<bool> stopped_{false};
    std::atomic<int> rounds_{0};
    std::thread thread_;
};

TEST(ParameterThreads, SetAndReadWhileAudioFlows) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16, 2, 2, 2), 3, 1));
    ApiProcessor processor(file.path(), 2, 48000.0);
    ASSERT_TRUE(processor.created());
    const Planar block = whiteNoise(2, 24, 3);
    {
        const Repeater setter([&processor](int round) {
            processor.set(gainOf(round % 16), static_cast<float>(round % 5));
            processor.set(sensitivityOf(round % 16), static_cast<float>(round % 200 - 100));
            processor.set(residualLevelId, -static_cast<float>(round % 96));
            processor.set(sensitivityId, static_cast<float>(round % 100));
        });
        const Repeater reader([&processor](int round) {
            const float level = processor.get(residualLevelId);
            EXPECT_TRUE(level >= -96.0F && level <= 0.0F);
            EXPECT_GE(processor.get(gainOf(round % 16)), 0.0F);
            EXPECT_LE(std::abs(processor.get(sensitivityOf(round % 16))), 100.0F);
            float range[2];
            vorunGetParameterRange(processor.handle(), 1, &range[0], &range[1]);
        });
        setter.waitForRounds(1);
        reader.waitForRounds(1);
        for (int i = 0; i < 500; ++i) {
            processor.push(block);
            for (const auto& channel : processor.pullAll()) {
                for (const float sample : channel) {
                    ASSERT_TRUE(std::isfinite(sample));
                }
            }
            if (i % 100 == 99) {
                processor.reset();
            }
        }
    }
    processor.set(gainOf(0), 0.375F);
    EXPECT_EQ(processor.get(gainOf(0)), 0.375F);
}

TEST(ParameterThreads, AValueOfAnotherThreadReachesTheAudio) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {1.0F}));
    ApiProcessor processor(file.path(), 1, 48000.0);
    std::thread([&processor] { processor.set(gainOf(0), 0.5F); }).join();
    const Planar input = whiteNoise(1, 160, 3);
    PlanarDouble expected = widened(head(input, 144));
    for (double& sample : expected[0]) {
        sample *= 0.5;
    }
    EXPECT_TRUE(isNear(runAtOnce(processor, input), expected, 2e-6));
}

TEST(ParameterThreads, EveryStoredValueIsOneThatWasWritten) {
    const TemporaryModel file(constantMasks(frameHeader(32, 32, 16), {1.0F}));
    ApiProcessor processor(file.path(), 1, 48000.0);
    processor.set(gainOf(4), 1.5F);
    const Repeater first([&processor](int) { processor.set(gainOf(4), 1.5F); });
    const Repeater second([&processor](int) { processor.set(gainOf(4), 3e20F); });
    for (int i = 0; i < 20000; ++i) {
        const float value = processor.get(gainOf(4));
        ASSERT_TRUE(value == 1.5F || value == 3e20F) << value;
    }
}

TEST(SeveralProcessors, InSeveralThreadsGiveWhatEachGivesAlone) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 8, 2, 2, 2), 5, 2));
    constexpr int count = 4;
    std::vector<Planar> inputs;
    std::vector<Planar> expected;
    std::vector<Planar> outputs(count);
    for (int i = 0; i < count; ++i) {
        inputs.push_back(whiteNoise(2, 2000, static_cast<std::uint32_t>(i)));
        ApiProcessor alone(file.path(), 2, 48000.0);
        expected.push_back(runAtOnce(alone, inputs.back()));
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            ApiProcessor processor(file.path(), 2, 48000.0);
            for (int at = 0; at < 2000; at += 50) {
                processor.push(inputs[i], at, 50);
                append(outputs[i], processor.pullAll());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int i = 0; i < count; ++i) {
        EXPECT_TRUE(sameBits(outputs[i], expected[i])) << i;
    }
}

TEST(SeveralProcessors, MayMoveFromThreadToThreadBetweenCalls) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 5, 2));
    ApiProcessor alone(file.path(), 1, 48000.0);
    ApiProcessor processor(file.path(), 1, 48000.0);
    const Planar input = whiteNoise(1, 400, 3);
    for (int at = 0; at < 400; at += 20) {
        std::thread([&] { processor.push(input, at, 20); }).join();
    }
    EXPECT_TRUE(sameBits(processor.pullAll(), runAtOnce(alone, input)));
}

TEST(SeveralTensorModels, InSeveralThreadsGiveWhatEachGivesAlone) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 5, 2));
    const TensorValues input{{3, 9, 1}, whiteNoise(1, 27, 3).front()};
    ApiModel alone(file.path());
    std::vector<float> expected;
    for (int i = 0; i < 50; ++i) {
        expected = alone.run(input).values;
    }
    std::vector<std::vector<float>> results(4);
    std::vector<std::thread> threads;
    for (auto& result : results) {
        threads.emplace_back([&file, &input, &result] {
            ApiModel model(file.path());
            for (int i = 0; i < 50; ++i) {
                result = model.run(input).values;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const auto& result : results) {
        EXPECT_EQ(result, expected);
    }
}

TEST(SeveralModels, RunOnTheirPoolAndGiveNoAudio) {
    const TemporaryModel quick(livelyMasks(frameHeader(32, 32, 16), 1));
    const TemporaryModel slow(
        {frameHeader(32, 32, 16), {randomStage({8, 9, 1, 32}, 2), randomStage({4, 5, 32, 1}, 3)}});
    const std::vector<std::string> orders[] = {{quick.path(), slow.path(), quick.path()},
                                               {slow.path(), quick.path()}};
    for (const auto& paths : orders) {
        ApiProcessor separator(paths, 2, 48000.0);
        ASSERT_TRUE(separator.created());
        const Planar block = whiteNoise(2, 48, 3);
        for (int i = 0; i < 40; ++i) {
            separator.push(block);
            EXPECT_EQ(separator.pending(), 0);
            if (i == 20) {
                separator.reset();
            }
        }
    }
}

TEST(SeveralModels, MayBeDeletedBeforeAnyAudio) {
    const TemporaryModel file(livelyMasks(frameHeader(32, 32, 16), 1));
    for (int i = 0; i < 20; ++i) {
        const ApiProcessor separator(std::vector{file.path(), file.path(), file.path()}, 1,
                                     48000.0);
        EXPECT_TRUE(separator.created());
    }
}

TEST(SeveralModels, RaiseAWorkersFailureOnTheCallingThread) {
    TestModel failing = constantMasks(frameHeader(32, 32, 16), {0.5F});
    std::get<writer::ConvRecord>(failing.network[0]).heightStride = 2;
    const TemporaryModel bad(failing);
    const TemporaryModel good(livelyMasks(frameHeader(32, 32, 16), 1));
    const Planar block = whiteNoise(1, 64, 3);
    std::string directText;
    ApiProcessor direct(bad.path(), 1, 48000.0);
    try {
        direct.push(block);
    } catch (const std::runtime_error& error) {
        directText = error.what();
    }
    EXPECT_FALSE(directText.empty());
    // The failing model comes last, so that no task is left behind when it raises.
    ApiProcessor separator(std::vector{good.path(), bad.path()}, 1, 48000.0);
    ASSERT_TRUE(separator.created());
    for (int i = 0; i < 3; ++i) {
        try {
            separator.push(block);
            FAIL() << "no exception";
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), directText);
        }
        separator.reset();
        EXPECT_EQ(separator.pending(), 0);
    }
}

TEST(SeveralModels, MayBeDeletedAfterAFailureThatLeftTasksBehind) {
    TestModel failing = constantMasks(frameHeader(32, 32, 16), {0.5F});
    std::get<writer::ConvRecord>(failing.network[0]).heightStride = 2;
    const TemporaryModel bad(failing);
    const TemporaryModel slow(
        {frameHeader(32, 32, 16), {randomStage({8, 9, 1, 64}, 2), randomStage({4, 5, 64, 1}, 3)}});
    for (int i = 0; i < 10; ++i) {
        ApiProcessor separator(std::vector{bad.path(), slow.path(), slow.path()}, 1, 48000.0);
        ASSERT_TRUE(separator.created());
        EXPECT_THROW(separator.push(whiteNoise(1, 64, 3)), std::runtime_error);
    }
}

}  // namespace
}  // namespace vorun::apitest
