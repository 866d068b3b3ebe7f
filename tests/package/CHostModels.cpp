// Writes the two models that the host in C runs.

#include <cstdio>
#include <exception>
#include <string>

#include "support/ModelWriter.h"

namespace {

using namespace vorun::writer;

/** A single tap: every output is weight x input + bias. */
ConvRecord singleTap(float weight, float bias) {
    ConvRecord record;
    record.weights = {{1, 1, 1, 1}, {weight}, ElementType::single, {}};
    record.bias = {{1}, {bias}, ElementType::single, {}};
    return record;
}

/** Half of every bin is kept as "Processed"; the other half is left over as "Residual". */
void writeHalfMask(const std::string& path) {
    ModelWriter writer;
    writer.addConv("mask", "input", singleTap(0.0f, 0.5f)).setOutputSource("mask").writeFile(path);
}

/** Doubles each element and adds 1; the first frame of a stream gives no result. */
void writeTensorModel(const std::string& path) {
    ConvRecord record = singleTap(2.0f, 1.0f);
    record.lookahead = 1;
    ModelWriter writer;
    writer.addConv("twice", "input", record).setOutputSource("twice").writeFile(path);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: c_host_models MASK_MODEL TENSOR_MODEL\n");
        return 2;
    }
    try {
        writeHalfMask(argv[1]);
        writeTensorModel(argv[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
