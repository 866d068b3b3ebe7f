#include "inspect/LayerTable.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "inspect/LayerKinds.h"
#include "inspect/Numbers.h"
#include "inspect/Printable.h"

namespace vorun::inspect {
namespace {

/** Longer texts push the rest of their line to the right, and only theirs. */
constexpr std::size_t widestColumn = 28;

constexpr std::size_t columnCount = 8;
using Row = std::array<std::string, columnCount>;
constexpr std::array<bool, columnCount> isNumber = {true,  false, false, false,
                                                    false, true,  true,  false};

Row titles() {
    return {"#", "layer", "type", "from", "output", "multiply-adds", "values", "parameters"};
}

std::string storageText(StoredAs storedAs) {
    switch (storedAs) {
        case StoredAs::half:
            return " at 16 bit";
        case StoredAs::single:
            return " at 32 bit";
        default:
            return " left out";
    }
}

std::string namesText(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + listed(name);
    }
    return text;
}

Row rowOf(std::size_t index, const LayerRecord& record, const LayerFlow& layer) {
    const LayerKind& kind = *kindOf(record.type);
    Row row;
    row[0] = std::to_string(index + 1);
    row[1] = listed(record.name);
    row[2] = kind.className;
    row[3] = namesText(record.inputs);
    row[4] = shapeText(layer.flow ? std::optional<Frames>(layer.flow->output) : std::nullopt);
    row[5] = layer.flow ? shortNumber(layer.multiplyAdds, 1) : "?";
    row[6] = valuesText(record);
    row[7] = parametersText(record, layer);
    return row;
}

std::array<std::size_t, columnCount> widthsOf(const std::vector<Row>& rows) {
    std::array<std::size_t, columnCount> widths{};
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < columnCount; ++i) {
            widths.at(i) = std::max(widths.at(i), std::min(characters(row.at(i)), widestColumn));
        }
    }
    return widths;
}

std::string lineOf(const Row& row, const std::array<std::size_t, columnCount>& widths) {
    std::string line;
    for (std::size_t i = 0; i < columnCount; ++i) {
        line += "  ";
        line +=
            isNumber.at(i) ? paddedLeft(row.at(i), widths.at(i)) : padded(row.at(i), widths.at(i));
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line + "\n";
}

}  // namespace

std::string parametersText(const LayerRecord& record, const LayerFlow& layer) {
    const std::string parameters = kindOf(record.type)->describe(record);
    const std::string remark = layer.flow ? layer.flow->remark : "";
    return parameters + (parameters.empty() || remark.empty() ? "" : ", ") + remark;
}

std::string shapeText(const std::optional<Frames>& frames) {
    if (!frames) {
        return "?";
    }
    const std::string shape =
        std::to_string(frames->height) + " x " + std::to_string(frames->channels);
    return frames->rate.isOne() ? shape : shape + " at " + textOf(frames->rate);
}

std::string valuesText(const LayerRecord& record) {
    std::string text;
    const StoredTensor* last = nullptr;
    for (const StoredTensor& tensor : record.tensors) {
        if (tensor.values == 0) {
            continue;
        }
        if (last != nullptr) {
            text += (last->storedAs == tensor.storedAs ? "" : storageText(last->storedAs)) + " + ";
        }
        text += std::to_string(tensor.values);
        last = &tensor;
    }
    return last == nullptr ? "" : text + storageText(last->storedAs);
}

std::string layerTable(const Description& description) {
    std::vector<Row> rows = {titles()};
    const std::vector<LayerRecord>& layers = description.contents.layers;
    for (std::size_t i = 0; i < layers.size(); ++i) {
        rows.push_back(rowOf(i, layers[i], description.graph.layers[i]));
    }
    const std::array<std::size_t, columnCount> widths = widthsOf(rows);
    std::string text;
    for (const Row& row : rows) {
        text += lineOf(row, widths);
    }
    return text;
}

}  // namespace vorun::inspect
