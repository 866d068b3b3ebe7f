#pragma once

#include "api/ReferenceNetwork.h"
#include "support/SequenceModel.h"
#include "support/SequenceSchedule.h"

namespace vorun::apitest {

/**
 * Any graph of layers, computed anew on the whole stream whenever it gives a frame: which frames
 * come and when are two questions that are answered apart.
 */
class SequenceNetwork : public FrameNetwork {
  public:
    explicit SequenceNetwork(const sequence::Model& model);

    Frames push(const Matrix& frame) override;
    void reset() override;

  private:
    sequence::Model model_;
    sequence::Schedule schedule_;
    Frames seen_;
    std::int32_t given_ = 0;
};

}  // namespace vorun::apitest
