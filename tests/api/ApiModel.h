#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vorun/vorun.h"

namespace vorun::apitest {

using Shape = std::vector<std::int32_t>;

/** Elements of a tensor with their shape, as the interface takes and gives them. */
struct TensorValues {
    Shape shape;
    std::vector<float> values;
};

/** Owns a tensor model handle, which may be null. */
class ApiModel {
  public:
    explicit ApiModel(const std::string& path) : handle_(vorunCreateModel(path.c_str())) {}
    ~ApiModel() { vorunDeleteModel(handle_); }
    ApiModel(const ApiModel&) = delete;
    ApiModel& operator=(const ApiModel&) = delete;

    bool created() const { return handle_ != nullptr; }
    ModelHandle* handle() const { return handle_; }

    void add(const TensorValues& tensor) {
        vorunAddTensor(handle_, tensor.values.data(),
                       static_cast<std::int32_t>(tensor.shape.size()), tensor.shape.data());
    }
    /** True if a result is there, of zero or more frames. */
    bool hasResult() const {
        std::int32_t shape[3];
        return vorunGetResultTensorShape(handle_, 3, shape);
    }
    /** The latest result; empty if there is none. */
    TensorValues result() const {
        TensorValues tensor;
        std::int32_t shape[3];
        if (!vorunGetResultTensorShape(handle_, 3, shape)) {
            return tensor;
        }
        tensor.shape.assign(shape, shape + 3);
        tensor.values.resize(static_cast<std::size_t>(shape[0]) *
                             static_cast<std::size_t>(shape[1]) *
                             static_cast<std::size_t>(shape[2]));
        vorunGetTensor(handle_, tensor.values.data());
        return tensor;
    }
    TensorValues run(const TensorValues& tensor) {
        add(tensor);
        return result();
    }
    void reset() { vorunResetModelState(handle_); }

  private:
    ModelHandle* handle_;
};

}  // namespace vorun::apitest
