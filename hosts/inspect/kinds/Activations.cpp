#include <array>
#include <charconv>

#include "inspect/RecordReader.h"
#include "inspect/kinds/Kinds.h"

namespace vorun::inspect::kinds {

void readNothing(RecordReader& /*reader*/, LayerRecord& /*record*/) {}

std::string describeNothing(const LayerRecord& /*record*/) {
    return "";
}

Flow followInPlace(const LayerRecord& /*record*/, const std::vector<Frames>& inputs) {
    Flow flow;
    flow.output = inputs.front();
    flow.outputValues = flow.output.values();
    return flow;
}

Flow followWithProduct(const LayerRecord& record, const std::vector<Frames>& inputs) {
    Flow flow = followInPlace(record, inputs);
    flow.multiplyAdds = static_cast<double>(flow.output.values());
    return flow;
}

void readSlope(RecordReader& reader, LayerRecord& record) {
    record.slope = reader.plain().ReadFloat();
}

std::string describeSlope(const LayerRecord& record) {
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), record.slope);
    return "slope " + (error == std::errc{} ? std::string(text.data(), end) : std::string("?"));
}

}  // namespace vorun::inspect::kinds
