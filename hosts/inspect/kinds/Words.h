#pragma once

#include <string>

#include "inspect/FileContents.h"

namespace vorun::inspect::kinds {

/** ", bias" or ", no bias". */
std::string biasWords(const StoredTensor& bias);
/** What differs from 1 and 0: ", stride 2 x 1", ", dilation 3", ", look-ahead 2". */
std::string strideWords(const LayerRecord& record);
/** ", look-ahead 2", or nothing for 0. */
std::string lookaheadWords(const LayerRecord& record);
/** "has 3 bias values, but needs 4". */
std::string tooFew(const StoredTensor& tensor, const std::string& needed);

}  // namespace vorun::inspect::kinds
