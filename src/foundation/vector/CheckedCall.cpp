#include "foundation/vector/CheckedCall.h"

#include <stdexcept>
#include <string>

namespace vorun {

void checkStatus(IppStatus status) {
    if (status < 0) {
        throw std::runtime_error(std::string("IPP exception: ") + ippGetStatusString(status));
    }
}

}  // namespace vorun
