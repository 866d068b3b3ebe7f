#include "neural/LayerFactory.h"

#include "neural/layers/ArithmeticLayer.h"
#include "neural/layers/ConcatLayer.h"
#include "neural/layers/ConvLayer.h"
#include "neural/layers/DenseLayer.h"
#include "neural/layers/ELULayer.h"
#include "neural/layers/HardSigmoidLayer.h"
#include "neural/layers/LeakyReLULayer.h"
#include "neural/layers/NormLayer.h"
#include "neural/layers/PreNormLayer.h"
#include "neural/layers/ReLULayer.h"
#include "neural/layers/SelfAttentionLayer.h"
#include "neural/layers/SeparableChannelConvLayer.h"
#include "neural/layers/SigmoidLayer.h"
#include "neural/layers/SoftplusLayer.h"
#include "neural/layers/TransposedConvLayer.h"

namespace vorun {

// The numbers 0 and 1 belong to the input and output layers, which a model makes itself.
template <class T>
std::shared_ptr<BaseLayer<T>> MakeLayer(std::int32_t type, LayerMap<T>& layers, ModelReader& reader,
                                        std::int32_t version) {
    switch (type) {
        case ConvLayer<T>::fileType:
            return std::make_shared<ConvLayer<T>>(layers, reader, version);
        case TransposedConvLayer<T>::fileType:
            return std::make_shared<TransposedConvLayer<T>>(layers, reader, version);
        case ReLULayer<T>::fileType:
            return std::make_shared<ReLULayer<T>>(layers, reader, version);
        case ELULayer<T>::fileType:
            return std::make_shared<ELULayer<T>>(layers, reader, version);
        case SigmoidLayer<T>::fileType:
            return std::make_shared<SigmoidLayer<T>>(layers, reader, version);
        case NormLayer<T>::fileType:
            return std::make_shared<NormLayer<T>>(layers, reader, version);
        case ConcatLayer<T>::fileType:
            return std::make_shared<ConcatLayer<T>>(layers, reader, version);
        case LeakyReLULayer<T>::fileType:
            return std::make_shared<LeakyReLULayer<T>>(layers, reader, version);
        case DenseLayer<T>::fileType:
            return std::make_shared<DenseLayer<T>>(layers, reader, version);
        case SeparableChannelConvLayer<T>::fileType:
            return std::make_shared<SeparableChannelConvLayer<T>>(layers, reader, version);
        case PreNormLayer<T>::fileType:
            return std::make_shared<PreNormLayer<T>>(layers, reader, version);
        case SoftplusLayer<T>::fileType:
            return std::make_shared<SoftplusLayer<T>>(layers, reader, version);
        case ArithmeticLayer<T>::fileType:
            return std::make_shared<ArithmeticLayer<T>>(layers, reader, version);
        case SelfAttentionLayer<T>::fileType:
            return std::make_shared<SelfAttentionLayer<T>>(layers, reader, version);
        case HardSigmoidLayer<T>::fileType:
            return std::make_shared<HardSigmoidLayer<T>>(layers, reader, version);
        default:
            return nullptr;
    }
}

template std::shared_ptr<BaseLayer<float>> MakeLayer<float>(std::int32_t type,
                                                            LayerMap<float>& layers,
                                                            ModelReader& reader,
                                                            std::int32_t version);

}  // namespace vorun
