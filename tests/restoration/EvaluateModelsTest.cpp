#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "restoration/SpectrumCoding.h"
#include "restoration/support/GraphLayers.h"
#include "restoration/support/SmallModels.h"
#include "restoration/support/Spectra.h"
#include "support/ScratchFolder.h"

namespace vorun {
namespace {

using test::ActionLayer;
using test::makeReady;
using test::modelOf;
using test::randomSpectrum;
using test::scaledCopies;
using test::smallBins;
using test::smallHeader;

constexpr std::chrono::seconds patience{20};

/** A point that is passed once, for which others may wait. */
class Gate {
  public:
    void open() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }
    /** False if it did not open in time. */
    bool pass() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, patience, [&] { return open_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = false;
};

class EvaluateModels : public ::testing::Test {
  protected:
    std::string pass() { return folder.save(writer::ModelWriter(smallHeader())); }

    /**
     * Two spectrum models of one and two outputs whose frames can leave. Files give two models one
     * queue more than they feed; here the second one fills it, so that the mix shows the order.
     */
    void prepareFedQueues() {
        ASSERT_TRUE(makeReady(processor, {folder.save(scaledCopies({0.5f}, 1)),
                                          folder.save(scaledCopies({0.25f}, 1))}));
        NeuralModel<float>& second = modelOf(processor, 1);
        second.maskCount = 2;
        auto& conv = second.layers.at("conv");
        doubler = std::make_shared<ActionLayer>([](ActionLayer& layer, const Tensor<float>& input) {
            const std::int32_t rows = input.dim(1);
            Tensor<float> both(std::vector<std::int32_t>{1, rows, 2});
            for (std::int32_t r = 0; r < rows; ++r) {
                both.data()[2 * r] = input.readData()[r];
                both.data()[2 * r + 1] = -3.0f * input.readData()[r];
            }
            return layer.PropagateToConsumers(both, &layer);
        });
        const auto owner = layerOf<float>(conv);
        doubler->consumers = owner->consumers;
        owner->consumers = {doubler.get()};
    }

    /** What one bus alone gives for a frame. */
    ComplexSignal32 solo(std::int32_t bus, const ComplexSignal32& frame) {
        for (std::int32_t i = 0; i < 16; ++i) {
            processor.setBusGain(i, i == bus ? 1.0f : 0.0f);
        }
        const auto mixed = processor.processSpectrum(frame);
        EXPECT_EQ(mixed.size(), 1U);
        return mixed.empty() ? ComplexSignal32() : mixed.front();
    }

    test::ScratchFolder folder;
    std::shared_ptr<ActionLayer> doubler;
    VorunProcessor processor;
};

TEST_F(EvaluateModels, OneModelRunsOnTheCallingThread) {
    ASSERT_TRUE(makeReady(processor, {pass()}));
    std::thread::id ranOn;
    test::putBehindInput(modelOf(processor, 0),
                         [&](ActionLayer& layer, const Tensor<float>& input) {
                             ranOn = std::this_thread::get_id();
                             return layer.PropagateToConsumers(input, &layer);
                         });
    processor.processSpectrum(randomSpectrum(1, smallBins, 1));
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(EvaluateModels, SeveralModelsRunAtTheSameTimeOnWorkersOfTheirOwn) {
    constexpr std::size_t count = 4;
    ASSERT_TRUE(makeReady(processor, std::vector<std::string>(count, pass())));
    std::mutex mutex;
    std::condition_variable changed;
    std::set<std::thread::id> running;
    std::atomic<int> late{0};
    for (std::size_t i = 0; i < count; ++i) {
        test::putBehindInput(
            modelOf(processor, i), [&](ActionLayer& layer, const Tensor<float>& input) {
                std::unique_lock lock(mutex);
                running.insert(std::this_thread::get_id());
                changed.notify_all();
                // Nobody goes on before all have begun: that needs a thread for each.
                if (!changed.wait_for(lock, patience, [&] { return running.size() == count; })) {
                    ++late;
                }
                lock.unlock();
                return layer.PropagateToConsumers(input, &layer);
            });
    }
    processor.processSpectrum(randomSpectrum(1, smallBins, 1));
    EXPECT_EQ(late, 0);
    EXPECT_EQ(running.size(), count);
    EXPECT_EQ(running.count(std::this_thread::get_id()), 0U);
}

TEST_F(EvaluateModels, ResultsEnterTheQueuesInModelOrderWhenTheLastEndsFirst) {
    prepareFedQueues();
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {1.0f, -1.0f});
    std::vector<std::shared_ptr<Gate>> gates;
    // The first model waits, in every frame, until the second has begun to leave its network.
    auto round = std::make_shared<std::atomic<std::size_t>>(0);
    for (int i = 0; i < 4; ++i) {
        gates.push_back(std::make_shared<Gate>());
    }
    test::putBehindInput(modelOf(processor, 0),
                         [=](ActionLayer& layer, const Tensor<float>& input) {
                             EXPECT_TRUE(gates.at(*round)->pass());
                             return layer.PropagateToConsumers(input, &layer);
                         });
    test::putBehindInput(modelOf(processor, 1),
                         [=](ActionLayer& layer, const Tensor<float>& input) {
                             const bool reached = layer.PropagateToConsumers(input, &layer);
                             gates.at(*round)->open();
                             return reached;
                         });
    const float expected[] = {0.5f, 0.25f, -0.75f, 1.0f};
    for (std::int32_t bus = 0; bus < 4; ++bus) {
        test::expectSame(solo(bus, frame),
                         test::constantSpectrum(1, smallBins, {expected[bus], -expected[bus]}));
        ++*round;
    }
}

TEST_F(EvaluateModels, GiveTheSameBitsAsModelsRunInTurn) {
    prepareFedQueues();
    VorunProcessor first;
    VorunProcessor second;
    ASSERT_TRUE(makeReady(first, {folder.save(scaledCopies({0.5f}, 1))}));
    ASSERT_TRUE(makeReady(second, {folder.save(scaledCopies({0.25f}, 1))}));
    first.setBusGain(1, 0.0f);
    second.setBusGain(1, 0.0f);
    for (std::uint32_t seed = 0; seed < 50; ++seed) {
        const ComplexSignal32 frame = randomSpectrum(1, smallBins, seed);
        test::expectSame(solo(0, frame), first.processSpectrum(frame).front());
        test::expectSame(solo(1, frame), second.processSpectrum(frame).front());
    }
}

TEST_F(EvaluateModels, TwoModelsOfOneFileKeepHistoriesOfTheirOwn) {
    writer::ModelHeader header = smallHeader();
    header.pipelineMode = 1;
    const std::string path = folder.save(test::convModel(header, test::delayLine(1, 1)));
    ASSERT_TRUE(makeReady(processor, {path, path}));
    std::vector<std::vector<float>> outputs[2];
    for (std::size_t m = 0; m < 2; ++m) {
        auto& conv = modelOf(processor, m).layers.at("conv");
        auto probe = std::make_shared<ActionLayer>([&outputs, m](auto& layer, const auto& input) {
            outputs[m].emplace_back(input.readData(), input.readData() + input.volume());
            return layer.PropagateToConsumers(input, &layer);
        });
        probe->consumers = layerOf<float>(conv)->consumers;
        layerOf<float>(conv)->consumers = {probe.get()};
        modelOf(processor, m).layers["probe"] = std::shared_ptr<BaseLayer<float>>(probe);
    }
    std::vector<std::vector<float>> expected;
    const NeuralModel<float>& model = processor.models()[0];
    for (std::uint32_t seed = 0; seed < 10; ++seed) {
        const ComplexSignal32 frame = randomSpectrum(1, smallBins, seed);
        const Tensor<float> features = spectrumToTensor(model, {frame});
        expected.emplace_back(features.readData(), features.readData() + features.volume());
        processor.processSpectrum(frame);
    }
    // A delay of one frame: everything but the last. A shared history would run two steps a frame.
    expected.pop_back();
    EXPECT_EQ(outputs[0], expected);
    EXPECT_EQ(outputs[1], expected);
}

TEST_F(EvaluateModels, TailFillIsSwitchedOnForAllModelsBeforeAnyTaskRuns) {
    ASSERT_TRUE(makeReady(processor, {pass(), pass(), pass()}));
    std::atomic<int> seenOff{0};
    for (std::size_t i = 0; i < 3; ++i) {
        modelOf(processor, i).enabled = false;
        test::putBehindInput(modelOf(processor, i), [&](ActionLayer& layer, const auto& input) {
            for (const auto& model : processor.models()) {
                seenOff += model.enabled ? 0 : 1;
            }
            return layer.PropagateToConsumers(input, &layer);
        });
    }
    processor.processSpectrum(randomSpectrum(1, smallBins, 1));
    EXPECT_EQ(seenOff, 0);
}

TEST_F(EvaluateModels, FailureReachesTheCallerOnItsThreadWithTypeAndText) {
    for (const std::size_t failing : {std::size_t{0}, std::size_t{1}, std::size_t{2}}) {
        VorunProcessor fresh;
        ASSERT_TRUE(makeReady(fresh, {pass(), pass(), pass()}));
        test::putBehindInput(modelOf(fresh, failing), [](auto&, const auto&) -> bool {
            throw std::domain_error("a task's own words");
        });
        try {
            fresh.processSpectrum(randomSpectrum(1, smallBins, 1));
            FAIL() << "no failure came through";
        } catch (const std::domain_error& failure) {
            EXPECT_STREQ(failure.what(), "a task's own words");
        }
    }
}

TEST_F(EvaluateModels, FailureOfTheLowerIndexWinsThoughItComesLater) {
    ASSERT_TRUE(makeReady(processor, {pass(), pass(), pass()}));
    Gate lastFailed;
    test::putBehindInput(modelOf(processor, 1), [&](auto&, const auto&) -> bool {
        EXPECT_TRUE(lastFailed.pass());
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        throw std::domain_error("second");
    });
    test::putBehindInput(modelOf(processor, 2), [&](auto&, const auto&) -> bool {
        lastFailed.open();
        throw std::length_error("third");
    });
    EXPECT_THROW(processor.processSpectrum(randomSpectrum(1, smallBins, 1)), std::domain_error);
}

TEST_F(EvaluateModels, LeftoverTasksDoNotOutliveTheFailedCall) {
    for (int run = 0; run < 5; ++run) {
        VorunProcessor fresh;
        ASSERT_TRUE(makeReady(fresh, {pass(), pass(), pass()}));
        std::atomic<int> finished{0};
        test::putBehindInput(modelOf(fresh, 0), [](auto&, const auto&) -> bool {
            throw std::domain_error("at once");
        });
        for (const std::size_t slow : {std::size_t{1}, std::size_t{2}}) {
            test::putBehindInput(modelOf(fresh, slow), [&](ActionLayer& layer, const auto& input) {
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
                const bool reached = layer.PropagateToConsumers(input, &layer);
                ++finished;
                return reached;
            });
        }
        const ComplexSignal32 frame = randomSpectrum(1, smallBins, 1);
        EXPECT_THROW(fresh.processSpectrum(frame), std::domain_error);
        EXPECT_EQ(finished, 2);
        // The frame waits in the queue; no task holds it any more.
        EXPECT_EQ(test::settledUseCount(frame, 2), 2);
        fresh.reset();
        EXPECT_EQ(frame.useCount(), 1);
    }
}

TEST_F(EvaluateModels, WorkersGoOnAfterFailures) {
    prepareFedQueues();
    auto fails = std::make_shared<std::atomic<bool>>(true);
    for (const std::size_t i : {std::size_t{0}, std::size_t{1}}) {
        test::putBehindInput(modelOf(processor, i), [=](ActionLayer& layer, const auto& input) {
            if (*fails) {
                throw std::runtime_error("not yet");
            }
            return layer.PropagateToConsumers(input, &layer);
        });
    }
    const ComplexSignal32 frame = test::constantSpectrum(1, smallBins, {1.0f, 0.0f});
    for (int i = 0; i < 10; ++i) {
        EXPECT_THROW(processor.processSpectrum(frame), std::runtime_error);
    }
    *fails = false;
    processor.reset();
    EXPECT_EQ(test::settledUseCount(frame, 1), 1);
    test::expectSame(solo(0, frame), test::constantSpectrum(1, smallBins, {0.5f, 0.0f}));
    test::expectSame(solo(2, frame), test::constantSpectrum(1, smallBins, {-0.75f, 0.0f}));
}

TEST_F(EvaluateModels, FrameOfOtherChannelsReachesEveryModelMatched) {
    ASSERT_TRUE(makeReady(processor, {pass(), pass()}, 2));
    std::atomic<int> averages{0};
    for (std::size_t i = 0; i < 2; ++i) {
        test::putBehindInput(modelOf(processor, i), [&](ActionLayer& layer, const auto& input) {
            averages += (input.dim(2) == 1 && input.readData()[0] == 2.0f) ? 1 : 0;
            return layer.PropagateToConsumers(input, &layer);
        });
    }
    processor.processSpectrum(test::toSpectrum({std::vector<Ipp32fc>(smallBins, {1.0f, 0.0f}),
                                                std::vector<Ipp32fc>(smallBins, {3.0f, 0.0f})}));
    EXPECT_EQ(averages, 2);
}

TEST_F(EvaluateModels, ProcessorsEndCleanlyWithWorkersWaiting) {
    for (int i = 0; i < 20; ++i) {
        VorunProcessor fresh;
        ASSERT_TRUE(makeReady(fresh, {pass(), pass(), pass()}));
        if (i % 2 == 0) {
            fresh.process(test::randomSamples(1, 64, 1));
        }
        ASSERT_TRUE(fresh.loadModels({pass(), pass()}));
    }
}

TEST_F(EvaluateModels, ParametersMayChangeFromAnotherThreadWhileFramesFlow) {
    prepareFedQueues();
    std::atomic<bool> running{true};
    std::thread setter([&] {
        for (std::int32_t i = 0; running; ++i) {
            processor.setBusGain(i % 17, static_cast<float>(i % 3));
            processor.setBusSensitivity(i % 17, static_cast<float>(i % 100));
            processor.getBusGain(i % 17);
            processor.isTailFillOn();
        }
    });
    for (std::uint32_t i = 0; i < 200; ++i) {
        EXPECT_EQ(processor.processSpectrum(randomSpectrum(1, smallBins, i)).size(), 1U);
    }
    running = false;
    setter.join();
}

TEST_F(EvaluateModels, ProcessorsInSeveralThreadsShareNothing) {
    const std::string path = folder.save(test::convModel(smallHeader(), test::delayLine(1, 2)));
    const Signal32 noise = test::randomSamples(1, 400, 1);
    VorunProcessor reference;
    ASSERT_TRUE(makeReady(reference, {path}));
    const Signal32 expected = reference.process(noise);

    std::vector<Signal32> results(4);
    std::vector<std::thread> threads;
    for (Signal32& result : results) {
        threads.emplace_back([&path, &result] {
            VorunProcessor own;
            if (makeReady(own, {path})) {
                result = own.process(test::randomSamples(1, 400, 1));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const Signal32& result : results) {
        test::expectSame(result, expected);
    }
}

}  // namespace
}  // namespace vorun
