#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace vorun::inspect {

/** Frames that a layer sees for each frame at the model's input, as a reduced fraction. */
struct Rate {
    std::int64_t up = 1;
    std::int64_t down = 1;

    /** Terms beyond 2^31 stay there: nobody looks at rates that far off. */
    Rate times(std::int64_t factor, std::int64_t divisor) const;
    double value() const { return static_cast<double>(up) / static_cast<double>(down); }
    bool isOne() const { return up == down; }
    bool operator==(const Rate& other) const = default;
};

/** "1", "1/2", "3/2". */
std::string textOf(const Rate& rate);

/** What travels along one connection of the graph. */
struct Frames {
    std::int64_t height = 0;
    std::int64_t channels = 0;
    Rate rate;

    /** Of one frame. Factors are within 31 bits and so is what they make, or nothing follows. */
    std::int64_t values() const { return height * channels; }
};

/** The most values that a tensor can hold. */
inline constexpr std::int64_t mostValues = 2147483647;

/** Product of counts, or mostValues + 1 where a tensor cannot hold as many. */
std::int64_t product(std::initializer_list<std::int64_t> counts);

/** What a layer makes of its inputs, for one frame on each of them. */
struct Flow {
    Frames output;
    /**
     * Steps of weighted sums, on average over frames. An element-wise product, quotient, sum or
     * affine step counts as one; biases, clamps and functions such as exp count nothing.
     */
    double multiplyAdds = 0.0;
    /** Values kept from frame to frame. */
    std::int64_t historyValues = 0;
    /** Sums that wait for later frames, in a tensor beside the history. */
    std::int64_t waitingSums = 0;
    /** Values of the output and of scratch of its kind, while single frames go in. */
    std::int64_t outputValues = 0;
    /** Weights that the layer keeps a second time, arranged for its frame path. */
    std::int64_t arrangedValues = 0;
    /** What the record alone does not tell; may be empty. */
    std::string remark;
    /** Why the layer cannot run on these inputs; each a phrase that follows its name. */
    std::vector<std::string> faults;
};

/** "1 frame", "2 frames". */
std::string counted(std::int64_t count, const std::string& thing);

}  // namespace vorun::inspect
