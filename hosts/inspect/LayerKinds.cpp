#include "inspect/LayerKinds.h"

#include <algorithm>
#include <array>

#include "inspect/kinds/Kinds.h"

namespace vorun::inspect {
namespace {

using namespace kinds;

constexpr std::array<LayerKind, 15> layerKinds = {{
    {2, "ConvLayer", false, readConvolution, followConvolution, describeConvolution},
    {3, "TransposedConvLayer", false, readTransposed, followTransposed, describeTransposed},
    {4, "ReLULayer", false, readNothing, followInPlace, describeNothing},
    {5, "ELULayer", false, readNothing, followInPlace, describeNothing},
    {6, "SigmoidLayer", false, readNothing, followInPlace, describeNothing},
    {7, "NormLayer", false, readNorm, followNorm, describeNorm},
    {9, "ConcatLayer", true, readNothing, followConcat, describeNothing},
    {12, "LeakyReLULayer", false, readSlope, followWithProduct, describeSlope},
    {14, "DenseLayer", false, readDense, followDense, describeDense},
    {15, "SeparableChannelConvLayer", false, readSeparable, followSeparable, describeSeparable},
    {16, "PreNormLayer", false, readPreNorm, followPreNorm, describePreNorm},
    {17, "SoftplusLayer", false, readNothing, followInPlace, describeNothing},
    {18, "ArithmeticLayer", true, readOperation, followArithmetic, describeOperation},
    {19, "SelfAttentionLayer", false, readAttention, followAttention, describeAttention},
    {20, "HardSigmoidLayer", false, readNothing, followWithProduct, describeNothing},
}};

}  // namespace

const LayerKind* kindOf(std::int32_t type) {
    const auto* const kind =
        std::find_if(layerKinds.begin(), layerKinds.end(),
                     [type](const LayerKind& candidate) { return candidate.type == type; });
    return kind == layerKinds.end() ? nullptr : kind;
}

}  // namespace vorun::inspect
