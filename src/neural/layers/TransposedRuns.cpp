#include "neural/layers/TransposedRuns.h"

#include <algorithm>

#include "foundation/vector/CheckedCall.h"
#include "foundation/vector/FusedForms.h"

namespace vorun {

template <class T>
void addTransposedRuns(const TransposedSizes& sizes,
                       const typename TransposedWeights<T>::Part& part,
                       const TransposedRuns<T>& runs) {
    if (part.channels == 0) {
        return;
    }
    const TransposedReach reach(sizes);
    const std::int64_t perBin = sizes.depthwise ? 1 : sizes.inChannels;
    RunProducts products{};
    products.rows = runs.places;
    products.tapStride = part.tapStride;
    products.weightStride = part.weightStride;
    products.binStride = sizes.inChannels;
    products.outStride = std::int64_t{sizes.heightStride} * runs.outChannels;
    products.start = runs.start;
    products.last = runs.last;
    products.taps = runs.taps;
    products.channels = part.channels;
    const T* weights = part.weights;
    for (std::int32_t phase = 0; phase < reach.phases(); ++phase) {
        reach.forEachStretch(phase, runs.height, runs.outHeight, [&](const auto& stretch) {
            for (std::int32_t tap = 0; tap < runs.taps; ++tap) {
                runs.places[tap] = runs.frames[tap] + stretch.inBin * sizes.inChannels;
            }
            products.weights = weights + stretch.kernelBin * perBin * part.weightStride;
            products.out = runs.out + stretch.outBin * runs.outChannels + part.firstChannel;
            products.run = static_cast<std::int32_t>(stretch.met * perBin);
            products.bins = static_cast<std::int32_t>(stretch.bins);
            products.lead = static_cast<std::int32_t>(stretch.lead * perBin);
            products.trail = static_cast<std::int32_t>(stretch.trail * perBin);
            checkedCall(std::min(products.run, products.channels), [&] {
                return sizes.depthwise ? addChannelProducts(products) : addRunProducts(products);
            });
        });
        weights += reach.binsOfPhase(phase) * perBin * part.weightStride;
    }
}

template void addTransposedRuns(const TransposedSizes& sizes,
                                const TransposedWeights<float>::Part& part,
                                const TransposedRuns<float>& runs);

}  // namespace vorun
