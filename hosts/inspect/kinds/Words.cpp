#include "inspect/kinds/Words.h"

namespace vorun::inspect::kinds {

std::string biasWords(const StoredTensor& bias) {
    return bias.values > 0 ? ", bias" : ", no bias";
}

std::string strideWords(const LayerRecord& record) {
    std::string text;
    if (record.timeStride != 1 || record.heightStride != 1) {
        text += ", stride " + std::to_string(record.timeStride) + " x " +
                std::to_string(record.heightStride);
    }
    if (record.timeDilation != 1) {
        text += ", dilation " + std::to_string(record.timeDilation);
    }
    return text + lookaheadWords(record);
}

std::string lookaheadWords(const LayerRecord& record) {
    return record.lookahead == 0 ? "" : ", look-ahead " + std::to_string(record.lookahead);
}

std::string tooFew(const StoredTensor& tensor, const std::string& needed) {
    return "has " + std::to_string(tensor.values) + " values in its " + tensor.role +
           ", but needs " + needed;
}

}  // namespace vorun::inspect::kinds
