#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "PlayedAudio.h"
#include "ReferenceEngine.h"
#include "support/ReferenceNetwork.h"

// Runs one thing for some seconds, so that a profiler can watch, and prints a line of JSON.
namespace vorun::benchmarks {
namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr const char* usage =
    "usage: vorun_profile_driver network A|B SECONDS      one frame after the other\n"
    "       vorun_profile_driver audio MODEL BLOCK SECONDS   blocks of so many samples\n"
    "       vorun_profile_driver write A|B FILE           the network as a model file";

ReferenceNetwork networkNamed(const std::string& name) {
    for (ReferenceNetwork network : {networkA(), networkB()}) {
        if (network.name == name) {
            return network;
        }
    }
    throw std::runtime_error("no network '" + name + "'");
}

/** The times of single calls over `seconds`, sorted, in microseconds. */
template <class Call>
std::vector<double> timesOf(Call call, double seconds) {
    constexpr int warmUp = 50;
    for (int i = 0; i < warmUp; ++i) {
        call();
    }
    std::vector<double> times;
    times.reserve(std::size_t{1} << 20);
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    for (auto start = Clock::now(); start < end;) {
        call();
        const auto now = Clock::now();
        times.push_back(Microseconds(now - start).count());
        start = now;
    }
    if (times.empty()) {
        throw std::runtime_error("SECONDS leaves no time for a single call");
    }
    std::sort(times.begin(), times.end());
    return times;
}

double quantile(const std::vector<double>& sorted, double share) {
    const auto last = static_cast<double>(sorted.size() - 1);
    return sorted[static_cast<std::size_t>(std::ceil(share * last))];
}

void printTimes(const std::vector<double>& times) {
    std::cout << "\"calls\": " << times.size() << ", \"median_us\": " << quantile(times, 0.5)
              << ", \"p999_us\": " << quantile(times, 0.999) << ", \"worst_us\": " << times.back();
}

void printLayers(const ReferenceNetwork& network) {
    std::cout << "\"layers\": [";
    for (std::size_t i = 0; i < network.layers.size(); ++i) {
        const ReferenceLayer& layer = network.layers[i];
        std::cout << (i == 0 ? "" : ", ") << "{\"in\": " << layer.inChannels
                  << ", \"out\": " << layer.outChannels
                  << ", \"transposed\": " << (layer.transposed ? "true" : "false")
                  << ", \"flops\": " << layer.flops() << "}";
    }
    std::cout << "]";
}

void runNetwork(const std::string& name, double seconds) {
    const ReferenceNetwork network = networkNamed(name);
    ReferenceEngine engine(network);
    // A stream of other frames than the last one, in a ring that fits the first cache.
    std::vector<std::vector<float>> frames;
    for (std::uint32_t i = 0; i < 4; ++i) {
        frames.push_back(inputFrame(network, i));
    }
    std::size_t next = 0;
    const auto step = [&] { engine.run(frames[next++ % frames.size()].data()); };
    const std::vector<double> times = timesOf(step, seconds);
    std::cout << "{";
    printTimes(times);
    std::cout << ", ";
    printLayers(network);
    std::cout << "}\n";
}

void runAudio(const std::string& model, std::int32_t blockSamples, double seconds) {
    PlayedAudio audio(model, blockSamples);
    const std::vector<double> times = timesOf([&] { audio.runBlock(); }, seconds);
    std::cout << "{";
    printTimes(times);
    std::cout << ", \"played_us\": " << 1e6 * blockSamples / PlayedAudio::sampleRate << "}\n";
}

void run(const std::vector<std::string>& arguments) {
    const std::string mode = arguments.empty() ? "" : arguments[0];
    if (mode == "network" && arguments.size() == 3) {
        runNetwork(arguments[1], std::stod(arguments[2]));
    } else if (mode == "audio" && arguments.size() == 4) {
        runAudio(arguments[1], std::stoi(arguments[2]), std::stod(arguments[3]));
    } else if (mode == "write" && arguments.size() == 3) {
        modelFileOf(networkNamed(arguments[1])).writeFile(arguments[2]);
    } else {
        throw std::runtime_error(usage);
    }
}

}  // namespace
}  // namespace vorun::benchmarks

int main(int argc, char** argv) {
    try {
        vorun::benchmarks::run({argv + 1, argv + argc});
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
