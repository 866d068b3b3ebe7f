#include "foundation/vector/VectorDispatch.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <iterator>

#include "foundation/vector/TransformPlan.h"
#include "foundation/vector/VectorVariants.h"

namespace vorun {

namespace {

// Relaxed is enough: nothing else is published through it, and every writer of a detected value
// writes the same one.
std::atomic<int> dispatchIndex{dispatch::undetectedIndex};

template <class... Arrays>
IppStatus checkArrays(std::int32_t len, const Arrays*... arrays) {
    if (((arrays == nullptr) || ...)) {
        return ippStsNullPtrErr;
    }
    return len < 1 ? ippStsSizeErr : ippStsNoErr;
}

IppStatus checkLevels(IppStatus arrays, float levelLT, float levelGT) {
    return arrays == ippStsNoErr && levelLT > levelGT ? ippStsThresholdErr : arrays;
}

IppStatus checkProducts(const RunProducts& product) {
    const std::int32_t least =
        std::min({product.taps, product.run, product.bins, product.channels});
    return checkArrays(least, product.rows, product.weights, product.out);
}

IppStatus checkRuns(const RunProducts& product) {
    const IppStatus arrays = checkProducts(product);
    const std::int32_t shorter = std::max(product.lead, product.trail);
    const bool isInside = std::min(product.lead, product.trail) >= 0 && shorter < product.run &&
                          (product.lead == 0 || product.trail == 0 || product.bins > 1) &&
                          (product.lead <= product.binStride || product.bins == 1) &&
                          product.weightStride > 0;
    return arrays == ippStsNoErr && !isInside ? ippStsSizeErr : arrays;
}

IppStatus checkColumns(const ColumnProducts& product) {
    const std::int32_t least = std::min({product.taps, product.groups, product.group, product.bins,
                                         product.channels, product.columnCount});
    const float* const start = product.started > 0 ? product.start : product.weights;
    const IppStatus arrays = checkArrays(least, product.columns, product.weights, product.sums,
                                         product.out, start, product.entered);
    const bool isInside = product.firstColumn >= 0 && product.firstColumn < product.columnCount &&
                          product.started >= 0 && product.started <= product.channels;
    return arrays == ippStsNoErr && !isInside ? ippStsSizeErr : arrays;
}

// One function for each parameter list of the family: the entry of `table` for the index in force.
template <class Operation, std::size_t count>
Operation* entryOf(Operation* const (&table)[count]) {
    static_assert(count == dispatch::indexCount + 1, "One entry for each index and the first use");
    return table[dispatchIndex.load(std::memory_order_relaxed) + 1];
}

void detectIndex() {
    dispatchIndex.store(dispatch::largestIndex(), std::memory_order_relaxed);
}

}  // namespace

// NOLINTBEGIN(bugprone-macro-parentheses): the arguments are names and parameter lists.

// Each operation's table, at index + 1: the stub of the first use, then the variants. The stub and
// the public operation both read the table, which is why its elements are functions of one struct.
#define VORUN_VARIANT_ENTRY(variant, operation) &variant::operation,
#define VORUN_DEFINE_OPERATION(name, parameters, arguments, precondition)      \
    namespace {                                                                \
    struct name##Dispatch {                                                    \
        static IppStatus firstUse parameters {                                 \
            detectIndex();                                                     \
            return run arguments;                                              \
        }                                                                      \
        static IppStatus run parameters {                                      \
            using Operation = IppStatus parameters;                            \
            static constexpr Operation* table[] = {                            \
                &firstUse, VORUN_VECTOR_VARIANTS(VORUN_VARIANT_ENTRY, name)};  \
            return entryOf<Operation>(table) arguments;                        \
        }                                                                      \
    };                                                                         \
    }                                                                          \
    IppStatus name parameters {                                                \
        const IppStatus status = precondition;                                 \
        return status == ippStsNoErr ? name##Dispatch::run arguments : status; \
    }

VORUN_VECTOR_OPERATIONS(VORUN_DEFINE_OPERATION)

#undef VORUN_DEFINE_OPERATION
#undef VORUN_VARIANT_ENTRY
// NOLINTEND(bugprone-macro-parentheses)

namespace dispatch {

int currentIndex() noexcept {
    return dispatchIndex.load(std::memory_order_relaxed);
}

int largestIndex() noexcept {
    static const int index = dispatchIndexFor(detectCpuFeatures());
    return index;
}

bool forceIndex(int index) noexcept {
    if (index < undetectedIndex || index > largestIndex()) {
        return false;
    }
    dispatchIndex.store(index, std::memory_order_relaxed);
    return true;
}

const char* variantName(int index) noexcept {
#define VORUN_VARIANT_NAME(variant, operation) #variant,
    static constexpr const char* names[] = {VORUN_VECTOR_VARIANTS(VORUN_VARIANT_NAME, )};
#undef VORUN_VARIANT_NAME
    static_assert(std::size(names) == indexCount);
    return names[index];
}

}  // namespace dispatch

}  // namespace vorun
