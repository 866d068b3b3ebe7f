#include "api/StreamRunner.h"

#include <algorithm>
#include <random>

namespace vorun::apitest {

Planar runStream(ApiProcessor& processor, const Planar& audio, const Partition& partition,
                 const HostFrame& frame) {
    const int total = lengthOf(audio);
    Planar output = silence(static_cast<int>(audio.size()), 0);
    int pushed = 0;
    for (std::size_t turn = 0; pushed < total; ++turn) {
        const int wanted = partition.pushes[turn % partition.pushes.size()];
        const int count = std::min(wanted, total - pushed);
        processor.push(audio, pushed, count, partition.layout);
        pushed += count;
        const int pending = processor.pending();
        EXPECT_EQ(lengthOf(output) + pending, frame.readyAfter(pushed))
            << "after " << pushed << " samples";
        int pull = pending;
        if (!partition.pulls.empty()) {
            pull = std::min(pending, partition.pulls[turn % partition.pulls.size()]);
        }
        append(output, processor.pull(pull, partition.layout));
        EXPECT_EQ(processor.pending(), pending - pull);
    }
    append(output, processor.pullAll(partition.layout));
    return output;
}

Planar runAtOnce(ApiProcessor& processor, const Planar& audio) {
    processor.push(audio);
    return processor.pullAll();
}

std::vector<int> randomLengths(int count, int longest, unsigned seed) {
    std::mt19937 engine(seed);
    std::vector<int> lengths;
    for (int i = 0; i < count; ++i) {
        lengths.push_back(static_cast<int>(engine() % static_cast<unsigned>(longest + 1)));
    }
    lengths.push_back(longest);
    return lengths;
}

}  // namespace vorun::apitest
